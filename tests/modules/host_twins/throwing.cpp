#include <stdexcept>

#include "tests/modules/module_export.h"

namespace {

/// A type whose code lies in this library alone.
class IdentifierFault : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

}  // namespace

/// Entry points of all of the host's libraries; what should make an object throws, each another type.
TEST_MODULE_EXPORT void* CreateSetupAdapter() { throw std::runtime_error("set-up adapter"); }
TEST_MODULE_EXPORT void DestroySetupAdapter(void* /*adapter*/) {}
TEST_MODULE_EXPORT void* CreateDeviceIdentifier() { throw IdentifierFault("device identifier"); }
TEST_MODULE_EXPORT void DestroyDeviceIdentifier(void* /*identifier*/, unsigned /*flag*/) {}
TEST_MODULE_EXPORT void* NewTargetAdapter(const char* /*cpuName*/, void** /*handle*/) {
    throw std::logic_error("target adapter");
}
