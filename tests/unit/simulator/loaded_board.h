#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "source_utilities/dynamic_library.h"

namespace Korr::Plim::Trace::Simulator {

/// A board in a folder of its own, with its journal and TPIU, named by the environment; and the loaded
/// libraries.
class LoadedBoard : public ::testing::Test {
  protected:
    using Json = nlohmann::ordered_json;

    LoadedBoard();
    ~LoadedBoard() override;

    void Write(const Json& board);
    std::vector<Json> Journal() const;
    /// The last journal line's violation; empty when it has none.
    std::string Violation() const;
    std::string File(const std::string& name) const { return folder + "/" + name; }
    /// An exported function of a library, which stays loaded until the test ends.
    template <typename Function>
    Function Entry(const char* library, const char* name) {
        return reinterpret_cast<Function>(Address(library, name));
    }

    Json board = {
        {"set_up_file", {{"board/cpu", "set-up.txt"}}}, {"journal", "journal"}, {"tpiu", "tpiu.json"}};

  private:
    void* Address(const char* library, const char* name);

    std::string folder;
    std::vector<KORR_PLIM::platform::LibraryHandle> libraries;
};

}  // namespace Korr::Plim::Trace::Simulator
