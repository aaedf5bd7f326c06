#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Tracehost {

/// How a child process ended.
struct ChildEnd {
    enum class Kind {
        NotStarted,
        Exited,    ///< by itself, with a status
        Crashed,   ///< by a signal or an exception that nobody handled
        TimedOut,  ///< it was ended because its time was over
    };
    Kind kind = Kind::NotStarted;
    int status = 0;     ///< of one that exited
    std::string words;  ///< of one that crashed or was not started: what the platform calls it
};

/// Seam: runs a program to its end and gives it at most `limit`. It reads nothing, and what it prints goes
/// into the file `output`, which is made anew. It has this process's environment and working folder. May be
/// called on several threads at once. \param words the program's path, then its arguments, which reach it as
/// they are
ChildEnd RunChild(const std::vector<std::string>& words, std::chrono::milliseconds limit,
                  const std::string& output);

/// Seam: the path of a program as a shell finds it by its name, in the absolute folders of the PATH alone;
/// empty when there is none. \param name without the platform's extension
std::string FindProgram(const std::string& name);

/// Seam: makes this process, started by RunChild, one whose crash nobody else notices: no dump of its memory,
/// no window; and where the platform can, one that ends with its parent. To be called first of all.
void BecomeChild();

}  // namespace Korr::Plim::Trace::Tracehost
