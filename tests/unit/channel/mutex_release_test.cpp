#include "tests/fakes/scripted_critical_section.h"
#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

using fakes::critical_section::DestroyedWhileHeld;

class MutexRelease : public DriverTest {
  protected:
    const int before = DestroyedWhileHeld();
};

TEST_F(MutexRelease, OfAHeldMutexIsNoticed) {
    auto held = std::make_unique<KORR_PLIM::uMutex>();
    held->Lock();
    held.reset();
    EXPECT_EQ(DestroyedWhileHeld(), before + 1);
}

TEST_F(MutexRelease, HoldsThatRefusedStopsLeftAreGivenBackBeforeTheMutexGoes) {
    Make();
    StartRecording();
    driver->SetTargetState(6);
    for (int round = 0; round < 3; ++round) {
        EXPECT_NE(ErrorOf([this] { driver->StopRecording(); }), "");
    }
    driver.reset();
    EXPECT_EQ(DestroyedWhileHeld(), before);
}

}  // namespace
}  // namespace channel_tests
