#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>

#include "channel/tdf_writer.h"
#include "tests/fakes/scripted_file_system.h"
#include "tests/support/expect_error.h"
#include "tests/unit/channel/tdf_file.h"

// Below the writer: the runtime's stream functions, of which the named call, counted from 1, falls short.
namespace {

struct StreamFaults {
    bool armed = false;
    int failingWrite = 0;
    int failingRead = 0;
    bool inError = false;
    int writes = 0;
    int reads = 0;
};
StreamFaults faults;

}  // namespace

extern "C" {
std::size_t __real_fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* stream);
std::size_t __real_fread(void* data, std::size_t size, std::size_t count, std::FILE* stream);
int __real_ferror(std::FILE* stream);

// Takes all but the last element of a call that is to fall short.
std::size_t __wrap_fwrite(const void* data, std::size_t size, std::size_t count, std::FILE* stream) {
    const bool fails = faults.armed && ++faults.writes == faults.failingWrite;
    return __real_fwrite(data, size, fails ? count - 1 : count, stream);
}
std::size_t __wrap_fread(void* data, std::size_t size, std::size_t count, std::FILE* stream) {
    const bool fails = faults.armed && ++faults.reads == faults.failingRead;
    return __real_fread(data, size, fails ? count - 1 : count, stream);
}
int __wrap_ferror(std::FILE* stream) { return faults.armed && faults.inError ? 1 : __real_ferror(stream); }
}

namespace channel_tests {
namespace {

using namespace Korr::Plim::Trace::Tarnel;
using support::ErrorOf;
using support::TraceFolder;
namespace scripted = fakes::file_system;

constexpr char kNotOpened[] = "Could not open TDF file as specified.";
constexpr char kHeaderSize[] = "Write error -  TDF section header size.";
constexpr char kNameAndVersion[] = "Write error -  TDF section name and version.";
constexpr char kLength[] = "Write error - size of TDF header.";
constexpr char kLengthUnknown[] = "Write I/O error - unable to determine section length.";
constexpr char kData[] = "Write I/O error - unable to write section data.";
constexpr char kCorrupted[] = "Write error - section data corrupted.";

class TdfWriterFaults : public testing::Test {
  protected:
    TdfWriterFaults() {
        scripted::Reset();
        faults = StreamFaults();
        TraceFolder::WriteFile(file, "TDF file");
    }
    ~TdfWriterFaults() override {
        faults = StreamFaults();
        scripted::Reset();
        std::filesystem::remove(file);
    }

    std::string BeginError() {
        faults.armed = true;
        const std::string error = ErrorOf([&] { BeginSection(file.c_str(), "name", 1, offset); });
        faults.armed = false;
        return error;
    }
    std::string AppendError() {
        BeginSection(file.c_str(), "name", 1, offset);
        before = Content();
        resetCounts();
        faults.armed = true;
        length = 99;
        const std::string error = ErrorOf(
            [&] { AppendSectionData(file.c_str(), "name", offset, "0123456789abcdef", 8, 2, length); });
        faults.armed = false;
        return error;
    }
    std::string Content() const { return TraceFolder::ReadFile(file); }

    std::function<void()> resetCounts = [] {};
    uint32_t offset = 99;
    uint32_t length = 99;
    std::string before;
    const std::string file = TraceFolder::Instance().Path("faulty.tdf");
};

TEST_F(TdfWriterFaults, AFileThatIsNotWritableIsNotOpened) {
    scripted::Script().Fail("OpenShared", 2, 2);
    EXPECT_EQ(BeginError(), kNotOpened);
    EXPECT_EQ(offset, 0U);
    scripted::Reset();
    resetCounts = [] { scripted::Script().Fail("OpenShared", 4, 4); };
    EXPECT_EQ(AppendError(), kNotOpened);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(Content(), before);
}

TEST_F(TdfWriterFaults, EachFieldOfAHeaderThatIsNotWrittenHasItsMessage) {
    const char* const kMessages[] = {kHeaderSize, kNameAndVersion, kNameAndVersion, kNameAndVersion, kLength};
    for (int write = 1; write <= 5; ++write) {
        TraceFolder::WriteFile(file, "TDF file");
        faults = StreamFaults();
        faults.failingWrite = write;
        EXPECT_EQ(BeginError(), kMessages[write - 1]) << write;
        EXPECT_EQ(faults.writes, write);
        EXPECT_EQ(offset, 8U);
        EXPECT_EQ(Content().substr(0, 8), "TDF file");
    }
}

TEST_F(TdfWriterFaults, APartialHeaderStaysInTheFile) {
    faults.failingWrite = 4;
    EXPECT_EQ(BeginError(), kNameAndVersion);
    EXPECT_EQ(HexDump(Content().substr(8)), "00 00 00 00 01 00 00 00 04 00 00 00 6e 61 6d\n");
}

TEST_F(TdfWriterFaults, AnUnknownEndOfTheFileIsAHeaderThatIsNotWritten) {
    scripted::Script().Fail("StreamLength");
    EXPECT_EQ(BeginError(), kHeaderSize);
    EXPECT_EQ(offset, 0U);
    EXPECT_EQ(Content(), "TDF file");
}

TEST_F(TdfWriterFaults, ASeekToANewHeaderThatFailsIsAHeaderThatIsNotWritten) {
    scripted::Script().Fail("SeekStream", 1, 1);
    EXPECT_EQ(BeginError(), kHeaderSize);
    EXPECT_EQ(Content(), "TDF file");
}

TEST_F(TdfWriterFaults, AHeaderWhoseLengthIsNotReachedIsALengthThatIsNotWritten) {
    scripted::Script().Fail("StreamPosition");
    EXPECT_EQ(BeginError(), kLength);
    TraceFolder::WriteFile(file, "TDF file");
    scripted::Reset();
    scripted::Script().Fail("SeekStream", 2, 2);
    EXPECT_EQ(BeginError(), kLength);
}

TEST_F(TdfWriterFaults, ALengthThatIsNotReadHasItsMessage) {
    faults.failingRead = 1;
    EXPECT_EQ(AppendError(), kLengthUnknown);
    EXPECT_EQ(Content(), before);
    EXPECT_EQ(length, 0U);
}

TEST_F(TdfWriterFaults, ALengthThatIsNotReachedCountsAsNotRead) {
    resetCounts = [] {
        scripted::Reset();
        scripted::Script().Fail("SeekStream", 1, 1);
    };
    EXPECT_EQ(AppendError(), kLengthUnknown);
    EXPECT_EQ(Content(), before);
}

TEST_F(TdfWriterFaults, ElementsThatAreNotWrittenHaveTheirMessageAndAreNotCounted) {
    resetCounts = [] { faults.failingWrite = 1; };
    EXPECT_EQ(AppendError(), kData);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(Content(), before + "01234567");  // what was written stays, the length does not count it
}

TEST_F(TdfWriterFaults, DataWhosePlaceIsNotReachedIsNotWritten) {
    resetCounts = [] {
        scripted::Reset();
        scripted::Script().Fail("SeekStream", 2, 2);
    };
    EXPECT_EQ(AppendError(), kData);
    EXPECT_EQ(Content(), before);
}

TEST_F(TdfWriterFaults, AStreamInErrorIsCorrupted) {
    faults.inError = true;
    EXPECT_EQ(AppendError(), kCorrupted);
    EXPECT_EQ(length, 0U);
}

TEST_F(TdfWriterFaults, ANewLengthThatIsNotWrittenHasItsMessageAndIsReported) {
    resetCounts = [] { faults.failingWrite = 2; };
    EXPECT_EQ(AppendError(), kLength);
    EXPECT_EQ(length, 32U);
}

TEST_F(TdfWriterFaults, ANewLengthThatIsNotReachedIsNotWrittenAndIsReported) {
    resetCounts = [] {
        scripted::Reset();
        scripted::Script().Fail("SeekStream", 3, 3);
    };
    EXPECT_EQ(AppendError(), kLength);
    EXPECT_EQ(length, 32U);
    EXPECT_EQ(Content(), before + "0123456789abcdef");
    TraceFolder::WriteFile(file, "TDF file");
    resetCounts = [] {
        scripted::Reset();
        scripted::Script().Fail("StreamPosition");
    };
    EXPECT_EQ(AppendError(), kLength);
    EXPECT_EQ(length, 0U);
}

}  // namespace
}  // namespace channel_tests
