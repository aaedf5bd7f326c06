#include <windows.h>

#include "tests/modules/broken_receiver/faults.h"

void LeakHandle() { CreateEventA(nullptr, TRUE, FALSE, nullptr); }
