#include "channel/tdf_writer.h"
#include "tests/unit/channel/driver_fixture.h"

namespace channel_tests {
namespace {

constexpr char kFullDisk[] = "/dev/full";

TEST(FullDisk, RefusesTheHeaderOfASection) {
    uint32_t offset = 99;
    EXPECT_EQ(ErrorOf([&] { BeginSection(kFullDisk, "BinTraceData", 1, offset); }),
              "Write error -  TDF section header size.");
}

TEST(FullDisk, RefusesTheDataOfASection) {
    uint32_t length = 99;
    EXPECT_EQ(ErrorOf([&] { AppendSectionData(kFullDisk, "BinTraceData", 8, "01234567", 8, 1, length); }),
              "Write I/O error - unable to write section data.");
    EXPECT_EQ(length, 0U);
}

class FullDiskSaving : public DriverTest {};

TEST_F(FullDiskSaving, OfASectionThrows) {
    Make();
    SetCapture("0123456789abcdef");
    EXPECT_EQ(ErrorOf([&] { driver->SaveFile(kFullDisk, 0); }), "Write error -  TDF section header size.");
}

TEST_F(FullDiskSaving, OfARawFileIsNotReported) {
    Make();
    SetCapture("0123456789abcdef");
    driver->SaveFile(kFullDisk, 2);
    EXPECT_EQ(driver->GetNumSamples(), 2U);
}

TEST_F(FullDiskSaving, AFolderIsNoFile) {
    Make();
    uint32_t offset = 99;
    EXPECT_EQ(ErrorOf([&] { BeginSection(folder.DataFolder().c_str(), "x", 1, offset); }),
              "Could not open TDF file as specified.");
    EXPECT_EQ(ErrorOf([&] { driver->SaveFile(folder.DataFolder().c_str(), 0); }),
              "Could not open fileIs a directory");
}

}  // namespace
}  // namespace channel_tests
