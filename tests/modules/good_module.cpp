#include "tests/modules/module_export.h"

// The module that has everything that its users look for.
namespace {
int counter = 0;
}

/// Calls so far since the module was loaded, this one included: a module loaded afresh starts at 1 again.
TEST_MODULE_EXPORT int TarnelTestCount() { return ++counter; }

TEST_MODULE_EXPORT int TarnelTestAnswer() { return 42; }
