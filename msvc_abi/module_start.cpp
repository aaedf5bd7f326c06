// The static objects of a module, a program or a library: made at its start and ended at its end. The C
// runtime walks the lists; only the lists belong to the module.
#include "module_start.h"

using Function = void (*)();
using FailingFunction = int (*)();

extern "C" {
struct OnExitTable {
    Function *first, *last, *end;
};
int _initterm_e(FailingFunction* first, FailingFunction* last);
void _initterm(Function* first, Function* last);
int _initialize_onexit_table(OnExitTable* table);
int _register_onexit_function(OnExitTable* table, FailingFunction function);
int _execute_onexit_table(OnExitTable* table);

int _fltused = 0x9875;  // the compiler refers to it wherever floating point is used

// The linker sorts the parts of a section by what follows the "$": the compiler's pointers lie between these
// marks.
#pragma section(".CRT$XIA", read)
#pragma section(".CRT$XIZ", read)
#pragma section(".CRT$XCA", read)
#pragma section(".CRT$XCZ", read)
__declspec(allocate(".CRT$XIA")) FailingFunction firstInitialiser[1] = {nullptr};
__declspec(allocate(".CRT$XIZ")) FailingFunction lastInitialiser[1] = {nullptr};
__declspec(allocate(".CRT$XCA")) Function firstConstructor[1] = {nullptr};
__declspec(allocate(".CRT$XCZ")) Function lastConstructor[1] = {nullptr};

static OnExitTable onExit;

int atexit(Function function) {
    return _register_onexit_function(&onExit, reinterpret_cast<FailingFunction>(function));
}

bool StartModule() {
    if (_initialize_onexit_table(&onExit) != 0) return false;
    if (_initterm_e(firstInitialiser, lastInitialiser) != 0) return false;
    _initterm(firstConstructor, lastConstructor);
    return true;
}

void EndModule() { _execute_onexit_table(&onExit); }
}
