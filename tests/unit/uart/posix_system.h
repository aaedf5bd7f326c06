#pragma once

#include <asm/termbits.h>

#include <cerrno>
#include <deque>
#include <string>
#include <vector>

/// The system calls below the Linux bodies, replaced at link time (--wrap) in a program with
/// posix_system.cpp: while there is a System every call comes to it, and none reaches the system.
namespace posix_system {

struct Answer {
    long result;
    int error;
};

struct System {
    std::vector<std::string> calls;
    std::deque<Answer> answers;  ///< of the calls to come; success, with nothing moved, when there are none
    termios2 settings{};
    int modemLines = 0;
    int settingsSet = 0;
    int exclusive = 0;  ///< whether another holds the port exclusively
    int event = -1;     ///< what an event made is; -1: none can be made. Making one is not among the calls
    std::string eventMade;  ///< the last call that made one

    long Next(const std::string& call, long success) {
        calls.push_back(call);
        if (answers.empty()) return success;
        const Answer answer = answers.front();
        answers.pop_front();
        if (answer.result < 0) errno = answer.error;
        return answer.result;
    }
};
extern System* replaced;

}  // namespace posix_system
