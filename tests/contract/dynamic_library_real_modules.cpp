#include "dynamic_library_contract.h"

void PrepareTestModules() {}
