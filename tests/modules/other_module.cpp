#include "tests/modules/module_export.h"

// A module that lacks the entry points of the good one, all but one, whose answer differs.
TEST_MODULE_EXPORT int TarnelTestAnswer() { return 7; }
