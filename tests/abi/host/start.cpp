// Where the host begins: without a C runtime's start, as it has no initialisers.
#include "tests/abi/host/scene.h"

extern "C" void AbiHostStart() { host::End(host::Main()); }
