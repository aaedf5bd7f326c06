#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

/// \file
/// What whole recordings of this process have on the disk.

namespace fault_tests {

/// The user's home of this process. The exports set their environment up once in a process. It lies in the
/// working folder, so that its folders are as many wherever the test runs.
const std::filesystem::path& Home();

/// All of a file; empty when it cannot be read.
std::string ContentOf(const std::filesystem::path& name);
void Write(const std::filesystem::path& name, const std::string& content);

/// This process's log files with their texts. There is more than one when the date or the debug client
/// changed on the way.
std::map<std::filesystem::path, std::string> Logs();
/// Closes the log's file; its next line opens it again.
void CloseLog();
/// Adds the failures in a log's text: "E Tarnel_Receiver: ...", without their time, with the home's name as
/// "HOME" and paths as on Linux.
void AddFailures(const std::string& text, std::vector<std::string>& failures);

/// What a recording logged, by the names of the files, as far as it differs from the usual: "log: <name>" of
/// every file when there is not the usual one alone, "log: none", and "log: without <text>" of the lines
/// that must be there; that of `last`, if it is not empty, as the last line of a file.
std::vector<std::string> LogDifferences(const std::map<std::string, std::string>& written,
                                        const std::vector<std::string>& lines, const std::string& last);
constexpr const char* kUsualLog = "korr_trace_log_11162026_77.txt";

/// Streams that are open, of the first few numbers: new streams take the lowest ones that are free.
int OpenStreams();

}  // namespace fault_tests
