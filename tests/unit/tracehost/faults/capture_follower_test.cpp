#include "tracehost/capture_follower.h"

#include <gtest/gtest.h>

#include "tests/fakes/scripted_channel_driver.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

class Notes : public CaptureObserver {
  public:
    void Take(std::span<const uint8_t> bytes) override {
        seen.append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        ++takes;
    }
    std::string seen;
    int takes = 0;
};

std::string Numbered(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
    return bytes;
}

class Following : public testing::Test {
  protected:
    Following() { follower.Add(notes); }
    fakes::ScriptedChannelDriver driver;
    CaptureFollower follower;
    Notes notes;
};

TEST_F(Following, SampleInTheMakingIsLeftForTheNextLook) {
    driver.capture = Numbered(20);
    follower.Follow(driver, 1);
    EXPECT_EQ(notes.seen, driver.capture.substr(0, 16));
    driver.capture = Numbered(43);
    follower.Follow(driver, 2);
    follower.Finish(driver, 43);
    EXPECT_EQ(notes.seen, driver.capture);
}

TEST_F(Following, LooksAreATenthOfASecondApart) {
    driver.capture = Numbered(100);
    follower.Follow(driver, 1);
    driver.capture = Numbered(200);
    follower.Follow(driver, 1.09);
    EXPECT_EQ(notes.takes, 1);
    follower.Follow(driver, 1.11);
    EXPECT_EQ(notes.takes, 2);
}

TEST_F(Following, NobodyIsReadFor) {
    CaptureFollower alone;
    driver.capture = Numbered(100);
    alone.Follow(driver, 1);
    alone.Finish(driver, 100);
    EXPECT_TRUE(driver.reads.empty());
}

TEST_F(Following, LongCaptureIsReadInStepsAndWhole) {
    driver.capture = Numbered(1'000'003);
    follower.Finish(driver, driver.capture.size());
    EXPECT_EQ(notes.seen, driver.capture);
    EXPECT_EQ(driver.reads.size(), 4u);
    EXPECT_EQ(driver.reads[1], (std::pair<uint32_t, uint32_t>(32768, 32768)));
}

TEST_F(Following, ReadThatBringsNothingEndsTheLookAndTheNextGoesOn) {
    driver.capture = Numbered(800);
    driver.refusesReads = true;
    follower.Follow(driver, 1);
    EXPECT_EQ(notes.takes, 0);
    EXPECT_EQ(driver.reads.size(), 1u);
    driver.refusesReads = false;
    follower.Finish(driver, 800);
    EXPECT_EQ(notes.seen, driver.capture);
}

TEST_F(Following, ReadsThatBringLessThanAskedAreRepeated) {
    driver.capture = Numbered(800);
    driver.mostSamples = 7;
    follower.Finish(driver, 800);
    EXPECT_EQ(notes.seen, driver.capture);
}

TEST_F(Following, CaptureThatBecameShorterEndsTheLook) {
    driver.capture = Numbered(80);
    follower.Finish(driver, 800);
    EXPECT_EQ(notes.seen, driver.capture);
}

TEST_F(Following, NewCaptureBeginsAtItsFirstByte) {
    driver.capture = Numbered(80);
    follower.Finish(driver, 80);
    follower.Begin();
    follower.Finish(driver, 80);
    EXPECT_EQ(notes.seen, driver.capture + driver.capture);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
