#include <windows.h>

#include "tests/modules/broken_receiver/faults.h"

// Many, because Wine only tells when a process's table of handles has doubled.
void LeakHandle() {
    for (int i = 0; i < 50; ++i) CreateEventA(nullptr, TRUE, FALSE, nullptr);
}
