#pragma once

#include <memory>
#include <string>

/// A place for a capture file, and how to look at it from outside. One program of the contract test is built
/// with each body of the capture file, and with a place that fits it.
class FileUnderTest {
  public:
    FileUnderTest();
    ~FileUnderTest();
    /// A name that no file has yet.
    std::string Name() const;
    /// A name below a folder that there is not.
    std::string UnreachableName() const;
    /// Bytes of the file, read through a second opening.
    std::string Content() const;

  private:
    std::string folder;
};
