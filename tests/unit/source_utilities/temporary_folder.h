#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

/// A fresh folder that goes with the object.
class TemporaryFolder {
  public:
    TemporaryFolder()
        : folder(std::filesystem::temp_directory_path() /
                 ("tarnel_" + std::to_string(std::random_device{}()))) {
        std::filesystem::create_directories(folder);
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string Path() const { return folder.string(); }
    std::string File(const std::string& name) const { return (folder / name).string(); }

  private:
    std::filesystem::path folder;
};

/// The bytes of a file, line ends as they are on disk; empty when there is none.
inline std::string ReadFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

/// The text of a file that was written in text mode: "\r\n" counts as "\n".
inline std::string ReadText(const std::string& path) {
    std::ifstream stream(path);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}
