// The entry of a console program.
#include "module_start.h"

extern "C" {
void _set_app_type(int type);
int _configure_narrow_argv(int mode);
int _initialize_narrow_environment();
int* __p___argc();
char*** __p___argv();
int _crt_atexit(void (*function)());
[[noreturn]] void exit(int status);
int main(int count, char** arguments);

/// An exception that nobody catches ends in terminate.
static int Run() noexcept { return main(*__p___argc(), *__p___argv()); }

int mainCRTStartup() {
    constexpr int kConsole = 1;
    constexpr int kArgumentsAsTheyAre = 1;  // without wildcards
    _set_app_type(kConsole);
    _configure_narrow_argv(kArgumentsAsTheyAre);
    _initialize_narrow_environment();
    if (!StartModule()) exit(255);
    _crt_atexit(EndModule);
    exit(Run());
}
}
