#pragma once

#include <cstdlib>
#include <string>

#include "tests/contract/library_search.h"

namespace library_search {

/// What a process of its own loads, because the loader reads its variable when a program starts.
struct Child {
    std::string module = ModuleIn(ProgramFolder());  ///< as the child loads it; empty: it loads by itself
    std::string loadersVariable = {};                ///< value of LD_LIBRARY_PATH
    std::string program = (ProgramFolder() / "library_search_test").string();

    /// Starts the child in the program's folder. It loads the module, goes to the present working folder and
    /// loads by name. \return the answer
    int Load(const std::string& name) const {
        const auto quoted = [](const std::string& text) { return "'" + text + "' "; };
        const std::string command =
            "cd " + quoted(ProgramFolder().string()) + "&& TARNEL_PLANTED=" + quoted(name) +
            "TARNEL_MODULE=" + quoted(module) + "TARNEL_WORKING=" + quoted(fs::current_path().string()) +
            "LD_LIBRARY_PATH=" + quoted(loadersVariable) + quoted(program) +
            "--gtest_also_run_disabled_tests --gtest_filter=*LibrarySearchChild* >/dev/null";
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

}  // namespace library_search
