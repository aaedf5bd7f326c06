#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "source_utilities/dynamic_library.h"
#include "source_utilities/environment.h"
#include "source_utilities/file_system.h"

/// \file
/// Which of several libraries of one name is loaded: the folders that docs/security.md names, in their order.
/// The loading is done by a small module in a folder of its own, as the plug-in's may be.

namespace library_search {

namespace fs = std::filesystem;
using namespace KORR_PLIM::platform;

// Answers of the planted libraries, and what stands for others. Each is also the exit status of a child.
constexpr int kGood = 42;
constexpr int kOther = 7;
constexpr int kNoAnswer = 99;  ///< a library that was not planted
constexpr int kNothing = 100;

/// The folder of this program, absolute. To be asked for before the working folder is another one.
inline fs::path ProgramFolder() {
    static const fs::path folder = fs::absolute(testing::internal::GetArgvs()[0]).parent_path();
    return folder;
}

/// The module's folder and its name without beginning and extension, below the program's folder.
inline const std::string kModuleFolder = "library_search";
inline std::string ModuleIn(const fs::path& folder, const std::string& name = "tarnel_test_loader") {
    return (folder / kModuleFolder / name).string();
}

/// What loads by name: the module, or with an empty name this program itself.
class Loader {
  public:
    explicit Loader(const std::string& module) {
        if (module.empty()) return;
        loaded = LoadDynamicLibrary(module.c_str());
        load = reinterpret_cast<LibraryHandle (*)(const char*)>(FindSymbol(loaded, "TarnelTestLoad"));
    }
    ~Loader() {
        if (loaded != kNoLibrary) FreeDynamicLibrary(loaded);
    }
    Loader(const Loader&) = delete;
    Loader& operator=(const Loader&) = delete;

    /// The answer of the library that a name gives.
    int Load(const std::string& name) const {
        const LibraryHandle library = load(name.c_str());
        if (library == kNoLibrary) return kNothing;
        void* const entry = FindSymbol(library, "TarnelTestAnswer");
        const int answer = entry == nullptr ? kNoAnswer : reinterpret_cast<int (*)()>(entry)();
        FreeDynamicLibrary(library);
        return answer;
    }

  private:
    LibraryHandle loaded = kNoLibrary;
    LibraryHandle (*load)(const char*) = LoadDynamicLibrary;
};

/// Folders in which libraries of one name are planted, deleted at the end. The working folder is one of them
/// while the test runs.
class LibrarySearch : public testing::Test {
  protected:
    LibrarySearch() {
        ProgramFolder();
        for (const fs::path& folder : {working, first, second}) fs::create_directories(folder);
        fs::current_path(working);
    }
    ~LibrarySearch() override {
        fs::current_path(formerFolder);
        KORR_PLIM::SetEnvironment("PATH", formerPath.c_str());
        std::error_code ignored;
        fs::remove_all(root, ignored);
        for (const fs::path& file : planted) fs::remove(file, ignored);
    }
    void Plant(const fs::path& folder, int answer) { PlantAs(beginning + name, folder, answer); }
    void PlantAs(const std::string& base, const fs::path& folder, int answer) {
        const std::string extension = std::string(".") + LibraryExtension();
        const std::string from = answer == kGood ? "tarnel_test_good" : "tarnel_test_other";
        fs::copy_file(program / (beginning + from + extension), folder / (base + extension));
        planted.push_back(folder / (base + extension));
    }
    void SetPath(const fs::path& left, const fs::path& right) const {
        const char* const between = PathSeparator() == '\\' ? ";" : ":";
        KORR_PLIM::SetEnvironment("PATH",
                                  (left.string() + between + right.string() + between + formerPath).c_str());
    }

    const std::string suffix = std::to_string(std::random_device{}());
    const std::string name = "tarnel_planted_" + suffix;
    const std::string beginning = PathSeparator() == '\\' ? "" : "lib";
    const fs::path root = fs::temp_directory_path() / ("tarnel_search_" + suffix);
    const fs::path working = root / "working";
    const fs::path first = root / "first";
    const fs::path second = root / "second";
    const fs::path program = ProgramFolder();
    const fs::path module = program / kModuleFolder;

  private:
    const fs::path formerFolder = fs::current_path();
    const std::string formerPath = KORR_PLIM::GetEnvironment("PATH");
    std::vector<fs::path> planted;
};

}  // namespace library_search
