// What the C runtime keeps out of its shared part: type_info's table, to which every type descriptor of the
// compiler points, and the module's list of undecorated names.
#include <vcruntime_typeinfo.h>

__type_info_node __type_info_root_node;
type_info::~type_info() noexcept {}

extern "C" {
[[noreturn]] void terminate();

// Nobody calls through it: descriptors are told apart by their names.
extern void (*const typeInformationTable[])() __asm__("??_7type_info@@6B@");
void (*const typeInformationTable[])() = {terminate};

/// Called where an exception leaves a function that lets none out.
[[noreturn]] void __std_terminate() { terminate(); }
}
