#include "dynamic_library_contract.h"
#include "tests/fakes/scripted_dynamic_library.h"

namespace {

int GoodAnswer() { return 42; }
int OtherAnswer() { return 7; }
int Count() { return 1; }

}  // namespace

void PrepareTestModules() {
    namespace libraries = fakes::dynamic_library;
    libraries::Reset();
    libraries::RegisterLibrary("tarnel_test_good", {{"TarnelTestAnswer", libraries::Entry(&GoodAnswer)},
                                                    {"TarnelTestCount", libraries::Entry(&Count)}});
    libraries::RegisterLibrary("tarnel_test_other", {{"TarnelTestAnswer", libraries::Entry(&OtherAnswer)}});
}
