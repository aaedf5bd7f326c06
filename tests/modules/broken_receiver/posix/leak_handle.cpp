#include <fcntl.h>

#include "tests/modules/broken_receiver/faults.h"

void LeakHandle() { static_cast<void>(open("/dev/null", O_RDONLY | O_CLOEXEC)); }
