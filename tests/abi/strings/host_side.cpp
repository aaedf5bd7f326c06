// Compiled with the string of the host's compiler, tests/abi/std/string, and with nothing of the project's.
#include <string>

#include "tests/abi/strings/host_side.h"
#include "tests/abi/strings/side_of.h"

static void ChangeString(std::string& to, const char* text, size_t length) { to.assign(text, length); }
static std::string MakeString(const char* text, size_t length) { return std::string(text, length); }

const StringSide* HostStrings() { return SideOf<std::string, MakeString, ChangeString>::Table("host"); }
