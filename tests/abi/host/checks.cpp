#include "tests/abi/host/checks.h"

#include "tests/abi/host/system.h"

namespace host {
namespace {

struct Counted {
    const char* name;
    uint32_t checks;
    uint32_t failed;
};
constexpr int kRoom = 40;
Counted groups[kRoom];
int count = 0;

}  // namespace

void Group(const char* name) {
    if (count == kRoom) Fail("too many groups");
    groups[count++] = {name, 0, 0};
}

void Check(bool holds, const char* format, ...) {
    char text[300];
    va_list arguments;
    va_start(arguments, format);
    Format(text, sizeof text, format, arguments);
    va_end(arguments);
    Counted& group = groups[count - 1];
    ++group.checks;
    if (!holds) ++group.failed;
    Print("%s %s: %s\n", holds ? "ok  " : "FAIL", group.name, text);
}

bool PrintGroups() {
    Counted all = {"all", 0, 0};
    Print("\n%-44s %8s %8s\n", "group", "checks", "failed");
    for (int i = 0; i < count; ++i) {
        Print("%-44s %8u %8u\n", groups[i].name, groups[i].checks, groups[i].failed);
        all.checks += groups[i].checks;
        all.failed += groups[i].failed;
        if (groups[i].checks == 0) ++all.failed;
    }
    Print("%-44s %8u %8u\n\n", all.name, all.checks, all.failed);
    return all.checks != 0 && all.failed == 0;
}

}  // namespace host
