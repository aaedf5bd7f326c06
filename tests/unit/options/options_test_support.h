#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "options/ChannelOptions.h"

namespace Korr::Plim::Trace::Tarnel {

inline constexpr char kUndefinedException[] =
    "Undefined exception occurred while parsing emulation setup file";
inline constexpr char kReceiverNameNotFound[] =
    "RCVRNAME xml tag not found in this xml file.\n"
    "If this file was created with Trace V1.0, then please recreate\n"
    "the file using Trace V1.1 software by setting the same options\n"
    "and saving to the same file name.\n"
    "It is also possible this file is corrupted. Saving the file again\n"
    "as desribed above will resolve this problem.";

/// What an operation answered: options, or the text and severity of its cPelkitError.
struct Answer {
    OptionList options;
    std::string error;
    int severity = 0;

    /// "KEY=value" of every option, separated by ";", or the error.
    std::string Text() const;
};

/// Runs an operation and keeps its cPelkitError; other exceptions pass.
Answer AnswerOf(const std::function<void(OptionList&)>& operation);
/// Reads a file's text from memory.
Answer ReadText(const std::string& text);
/// Reads a file through a fresh ChannelOptionsHandler.
Answer ReadFile(const std::string& fileName);

/// A complete file around the lines of its options.
std::string FileWith(const std::string& optionLines);

/// A file of its own in the folder for temporary files, removed at the end.
class TemporaryFile {
  public:
    explicit TemporaryFile(const std::string& contents = {});
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& Name() const { return name; }
    /// Bytes as they lie on the disk.
    std::string Contents() const;

  private:
    std::string name;
};

}  // namespace Korr::Plim::Trace::Tarnel
