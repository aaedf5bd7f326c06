#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <string>

namespace support {

/// A pipe in a file's place (Linux), removed at its end.
class NamedPipe {
  public:
    /// Replaces a file of that name.
    explicit NamedPipe(const std::string& pipePath) : path(pipePath) {
        std::filesystem::remove(path);
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    }
    ~NamedPipe() {
        CloseWriter();
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    NamedPipe(const NamedPipe&) = delete;
    NamedPipe& operator=(const NamedPipe&) = delete;

    /// Has the pipe open to write from now on, and writes.
    void Write(const std::string& bytes) {
        writer = open(path.c_str(), O_RDWR | O_NONBLOCK);
        EXPECT_EQ(write(writer, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    /// What the action returns. After 20 seconds the test fails, and whoever waits at the pipe is let go.
    template <typename Action>
    auto InTime(Action action) {
        auto result = std::async(std::launch::async, action);
        if (result.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            ADD_FAILURE() << "the pipe is waited for";
            if (writer < 0) writer = open(path.c_str(), O_WRONLY | O_NONBLOCK);
            CloseWriter();
        }
        return result.get();
    }

  private:
    void CloseWriter() {
        if (writer >= 0) close(writer);
        writer = -1;
    }

    std::string path;
    int writer = -1;
};

}  // namespace support
