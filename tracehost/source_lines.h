#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Tracehost {

/// Whether there is a program that FindSourceLines can ask.
bool HasLineReader();

/// Source lines of addresses, as a program that reads debug information tells them: the first that is found
/// of arm-none-eabi-addr2line, llvm-addr2line and addr2line.
/// \return "file.c:12" by address; without those that no line is known of \throws HostError when there is no
/// such program, or it does not answer
std::map<uint32_t, std::string> FindSourceLines(const std::string& elf,
                                                const std::vector<uint32_t>& addresses);

}  // namespace Korr::Plim::Trace::Tracehost
