#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "tests/contract/file_under_test.h"

FileUnderTest::FileUnderTest() {
    std::random_device random;
    const auto path = std::filesystem::temp_directory_path() / ("capture_file_" + std::to_string(random()));
    std::filesystem::create_directories(path);
    folder = path.string();
}

FileUnderTest::~FileUnderTest() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::string FileUnderTest::Name() const { return (std::filesystem::path(folder) / "capture.bin").string(); }

std::string FileUnderTest::UnreachableName() const {
    return (std::filesystem::path(folder) / "missing" / "capture.bin").string();
}

std::string FileUnderTest::Content() const {
    std::ifstream file(Name(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
