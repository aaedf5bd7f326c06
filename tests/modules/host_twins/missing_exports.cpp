#include "tests/modules/module_export.h"

/// A library under the name of one of the host's, without any of the entry points.
TEST_MODULE_EXPORT int TarnelTestAnswer() { return 42; }
