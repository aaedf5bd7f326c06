#include <cerrno>
#include <cstring>
#include <future>

#include "tests/unit/channel/driver_fixture.h"
#include "tests/unit/channel/tdf_file.h"

namespace channel_tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const char* const kOutOfRange = "M Tarnel_ChannelDriver: seek read start sample out of range";

std::string SeekLine(const std::string& start, const std::string& count) {
    return "M Tarnel_ChannelDriver: SeekReadTraceData start sample = " + start +
           ", num samples requested = " + count + " ";
}
std::string CountLine(const std::string& count) {
    return "M Tarnel_ChannelDriver: GetNumSamples retrieved " + count + " samples";
}

/// Bytes in which every position shows.
std::string Pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t index = 0; index < size; ++index) {
        bytes[index] = static_cast<char>((index * 2654435761U) >> 13);
    }
    return bytes;
}

std::string Padded(std::string bytes) {
    bytes.resize((bytes.size() + 7) / 8 * 8);
    return bytes;
}

class CapturedData : public DriverTest {
  protected:
    CapturedData() {
        std::filesystem::remove(CaptureFileOf("cpu"));
        Make();
    }
    ~CapturedData() override { std::filesystem::remove(CaptureFileOf("cpu")); }

    struct ReadResult {
        uint32_t samples;
        std::string bytes;  // of the whole buffer, filled with 0xEE before
    };
    ReadResult Read(uint32_t start, uint32_t requested, std::size_t room) {
        ReadResult result{0, std::string(room * 8, '\xEE')};
        uint32_t samplesRead = 12345;
        result.samples = driver->SeekReadTraceData(start, requested, result.bytes.data(), samplesRead);
        EXPECT_EQ(samplesRead, result.samples);
        return result;
    }
    /// A file of this length without data on disk, with some bytes at an offset.
    void SetSparseCapture(uint64_t length, uint64_t offset, const std::string& bytes) const {
        SetCapture("");
        std::filesystem::resize_file(CaptureFileOf("cpu"), length);
        std::fstream file(CaptureFileOf("cpu"), std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(offset));
        file << bytes;
    }
};

TEST_F(CapturedData, AnAbsentFileHasNoSamples) {
    EXPECT_EQ(driver->GetNumSamples(), 0U);
    EXPECT_THAT(log.Get(), ElementsAre(CountLine("0")));
}

TEST_F(CapturedData, ReadingAnAbsentFileIsOutOfRange) {
    const ReadResult result = Read(0, 2, 2);
    EXPECT_EQ(result.samples, 0U);
    EXPECT_EQ(result.bytes, std::string(16, '\xEE'));
    EXPECT_THAT(log.Get(), ElementsAre(SeekLine("0", "2"), CountLine("0"), kOutOfRange));
}

TEST_F(CapturedData, APartialLastSampleCounts) {
    const uint32_t kSamples[] = {0, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2, 3};
    for (std::size_t size = 0; size < std::size(kSamples); ++size) {
        SetCapture(Pattern(size));
        EXPECT_EQ(driver->GetNumSamples(), kSamples[size]) << size;
    }
}

TEST_F(CapturedData, ThirteenBytesAreTwoSamplesTheSecondPaddedWithZeroBytes) {
    SetCapture("0123456789abc");
    const ReadResult result = Read(0, 2, 3);
    EXPECT_EQ(result.samples, 2U);
    EXPECT_EQ(result.bytes, std::string("0123456789abc\0\0\0", 16) + std::string(8, '\xEE'));
    EXPECT_THAT(log.Get(), ElementsAre(SeekLine("0", "2"), CountLine("2")));
}

TEST_F(CapturedData, ARequestAcrossTheEndIsCutShort) {
    SetCapture(Pattern(64));
    const ReadResult result = Read(5, 10, 10);
    EXPECT_EQ(result.samples, 3U);
    EXPECT_EQ(result.bytes, Pattern(64).substr(40) + std::string(56, '\xEE'));
    EXPECT_THAT(log.Get(), ElementsAre(SeekLine("5", "10"), CountLine("8")));
}

TEST_F(CapturedData, AStartAtTheEndOrBeyondIsOutOfRange) {
    SetCapture(Pattern(64));
    EXPECT_EQ(Read(8, 1, 1).samples, 0U);
    EXPECT_EQ(Read(9, 1, 1).samples, 0U);
    EXPECT_EQ(Read(4294967295U, 1, 1).samples, 0U);
    EXPECT_EQ(log.Count(kOutOfRange), 3U);
    EXPECT_TRUE(log.Has(SeekLine("-1", "1")));
}

TEST_F(CapturedData, StartAndCountDoNotOverflow) {
    SetCapture(Pattern(64));
    const ReadResult result = Read(7, 4294967295U, 1);
    EXPECT_EQ(result.samples, 1U);
    EXPECT_EQ(result.bytes, Pattern(64).substr(56));
    EXPECT_THAT(log.Get(), ElementsAre(SeekLine("7", "-1"), CountLine("8")));
}

TEST_F(CapturedData, ARequestOfNothingReadsNothing) {
    SetCapture(Pattern(64));
    const ReadResult result = Read(3, 0, 1);
    EXPECT_EQ(result.samples, 0U);
    EXPECT_EQ(result.bytes, std::string(8, '\xEE'));
    EXPECT_THAT(log.Get(), ElementsAre(SeekLine("3", "0"), CountLine("8")));
}

TEST_F(CapturedData, ANullBufferReadsNothing) {
    SetCapture(Pattern(64));
    uint32_t samplesRead = 99;
    EXPECT_EQ(driver->SeekReadTraceData(0, 4, nullptr, samplesRead), 0U);
    EXPECT_EQ(samplesRead, 0U);
    EXPECT_THAT(log.Get(), ElementsAre(SeekLine("0", "4"), CountLine("8"),
                                       "M Tarnel_ChannelDriver: seek read file failed with "
                                       "numSamplesActual=4, numSamplesRead=0"));
}

TEST_F(CapturedData, ReadsDoNotNeedAnOpenedLog) {
    SetCapture(Pattern(64));
    const LogAtLevel off("0");
    EXPECT_EQ(Read(0, 8, 8).bytes, Pattern(64));
}

TEST_F(CapturedData, AtLevelOneTheNumberOfSamplesIsNotLogged) {
    SetCapture(Pattern(64));
    const LogAtLevel ordinary("1");
    Read(0, 1, 1);
    EXPECT_THAT(ordinary.Get(), ElementsAre(SeekLine("0", "1")));
}

TEST_F(CapturedData, AFileThatGrowsIsReadAtItsPresentLength) {
    SetCapture(Pattern(12));
    EXPECT_EQ(Read(0, 4, 4).samples, 2U);
    SetCapture(Pattern(24));
    EXPECT_EQ(driver->GetNumSamples(), 3U);
    EXPECT_EQ(Read(1, 4, 2).bytes, Pattern(24).substr(8));
}

TEST_F(CapturedData, SamplesBeyondFourGibibytesAreFound) {
    const uint64_t offset = uint64_t{4500} << 20;
    SetSparseCapture(uint64_t{5} << 30, offset, "far away");
    EXPECT_EQ(driver->GetNumSamples(), 671088640U);
    EXPECT_EQ(Read(static_cast<uint32_t>(offset / 8), 1, 1).bytes, "far away");
}

TEST_F(CapturedData, MoreSamplesThanThe32BitCountHoldsAreTheLargestCount) {
    const uint64_t last = uint64_t{4294967294} * 8;
    try {
        SetSparseCapture(last + 16, last, "the last");
    } catch (const std::filesystem::filesystem_error& full) {  // where a long file needs its whole room
        GTEST_SKIP() << full.what();
    }
    EXPECT_EQ(driver->GetNumSamples(), 4294967295U);
    EXPECT_EQ(Read(4294967294U, 4294967295U, 1).bytes, "the last");
    EXPECT_EQ(Read(4294967295U, 1, 1).samples, 0U);
    EXPECT_TRUE(log.Has(CountLine("-1")));
}

TEST_F(CapturedData, AFileThatShrinksBetweenCountAndReadGivesWhatIsThere) {
    struct Optimist : ChannelDriver {
        using ChannelDriver::ChannelDriver;
        uint32_t GetNumSamples() override { return 8; }
    };
    MakeAs<Optimist>();
    SetCapture(Pattern(13));
    const ReadResult result = Read(0, 8, 8);
    EXPECT_EQ(result.samples, 2U);
    EXPECT_EQ(result.bytes, Padded(Pattern(13)) + std::string(40, '\xEE') + std::string(8, '\0'));
    EXPECT_THAT(log.Get(), ElementsAre(SeekLine("0", "8"),
                                       "M Tarnel_ChannelDriver: seek read file failed with "
                                       "numSamplesActual=8, numSamplesRead=2"));
}

class Saving : public CapturedData {
  protected:
    ~Saving() override { std::filesystem::remove(target); }
    std::string Saved() const { return TraceFolder::ReadFile(target); }
    void Save(int32_t format) { driver->SaveFile(target.c_str(), format); }

    const std::string target = folder.Path("saved");
    const std::string hostHeader = "TDF file";
};

TEST_F(Saving, AnEmptyNameIsRefused) {
    const std::string message = "Data cannot be saved to empty file";
    for (const int32_t format : {0, 2}) {
        EXPECT_EQ(ErrorOf([&] { driver->SaveFile("", format); }), message);
        EXPECT_EQ(ErrorOf([&] { driver->SaveFile(nullptr, format); }), message);
    }
    EXPECT_THAT(log.Get(), IsEmpty());
}

TEST_F(Saving, AFileThatCannotBeOpenedIsReportedWithThePlatformsReason) {
    const std::string name = folder.Path("no such folder/saved");
    const std::string message = std::string("Could not open file") + std::strerror(ENOENT);
    for (const int32_t format : {0, 2}) {
        log = LogLines();
        EXPECT_EQ(ErrorOf([&] { driver->SaveFile(name.c_str(), format); }), message);
        EXPECT_THAT(log.Get(), ElementsAre("E Tarnel_ChannelDriver : " + message + " : " + name));
    }
}

TEST_F(Saving, RawIsTheCapturePaddedToWholeSamples) {
    for (const std::size_t size : {0U, 1U, 8U, 13U, 65535U, 65536U, 65537U, 200003U}) {
        SetCapture(Pattern(size));
        Save(2);
        EXPECT_EQ(Saved(), Padded(Pattern(size))) << size;
    }
}

TEST_F(Saving, RawReplacesWhatTheFileHeld) {
    TraceFolder::WriteFile(target, std::string(1000, 'x'));
    SetCapture(Pattern(8));
    Save(2);
    EXPECT_EQ(Saved(), Pattern(8));
}

TEST_F(Saving, RawOfNoCaptureIsAnEmptyFile) {
    Save(2);
    EXPECT_TRUE(std::filesystem::exists(target));
    EXPECT_EQ(Saved(), "");
}

TEST_F(Saving, TheCaptureIsReadInPiecesOf8192Samples) {
    SetCapture(Pattern(140000));  // 17500 samples
    Save(2);
    EXPECT_TRUE(log.Has(SeekLine("0", "8192")));
    EXPECT_TRUE(log.Has(SeekLine("8192", "8192")));
    EXPECT_TRUE(log.Has(SeekLine("16384", "1116")));
}

TEST_F(Saving, EveryOtherFormatIsASectionOfTheHostsFile) {
    SetCapture(Pattern(100));
    for (const int32_t format : {0, 1, 3, -1, 2147483647}) {
        TraceFolder::WriteFile(target, hostHeader);
        Save(format);
        const std::vector<TdfSection> sections = SectionsOf(Saved(), hostHeader.size());
        ASSERT_EQ(sections.size(), 1U) << format;
        EXPECT_EQ(Saved().substr(0, 8), hostHeader);
        EXPECT_EQ(sections[0].name, "BinTraceData");
        EXPECT_EQ(sections[0].version, 1U);
        EXPECT_EQ(sections[0].length, 24U + 104U);
        EXPECT_EQ(sections[0].data, Padded(Pattern(100)));
    }
}

TEST_F(Saving, ASectionOfManyPiecesIsInOrder) {
    SetCapture(Pattern(300001));
    TraceFolder::WriteFile(target, hostHeader);
    Save(0);
    const std::vector<TdfSection> sections = SectionsOf(Saved(), hostHeader.size());
    ASSERT_EQ(sections.size(), 1U);
    EXPECT_EQ(sections[0].data, Padded(Pattern(300001)));
}

TEST_F(Saving, TwiceIntoTheSameFileMakesTwoSections) {
    TraceFolder::WriteFile(target, hostHeader);
    SetCapture(Pattern(16));
    Save(0);
    SetCapture(Pattern(40));
    Save(0);
    const std::vector<TdfSection> sections = SectionsOf(Saved(), hostHeader.size());
    ASSERT_EQ(sections.size(), 2U);
    EXPECT_EQ(sections[0].data, Pattern(16));
    EXPECT_EQ(sections[1].offset, 8U + 24U + 16U);
    EXPECT_EQ(sections[1].data, Pattern(40));
}

TEST_F(Saving, OfNoCaptureIsASectionWithoutData) {
    TraceFolder::WriteFile(target, hostHeader);
    Save(0);
    const std::vector<TdfSection> sections = SectionsOf(Saved(), hostHeader.size());
    ASSERT_EQ(sections.size(), 1U);
    EXPECT_EQ(sections[0].length, 24U);
}

TEST_F(Saving, IntoAFileWithoutHeaderTheFirstPieceIsRefused) {
    SetCapture(Pattern(8));
    TraceFolder::WriteFile(target, "");
    EXPECT_EQ(ErrorOf([&] { Save(0); }), "Section header offset to save data is not valid.");
    EXPECT_EQ(SectionsOf(Saved(), 0).size(), 1U);
    std::filesystem::remove(target);
    EXPECT_EQ(ErrorOf([&] { Save(0); }), "Section header offset to save data is not valid.");
}

TEST_F(Saving, TheFileOfThirteenBytesIsThisSection) {
    SetCapture("0123456789abc");
    TraceFolder::WriteFile(target, hostHeader);
    Save(0);
    EXPECT_EQ(HexDump(Saved()),
              "54 44 46 20 66 69 6c 65 28 00 00 00 01 00 00 00\n"
              "0c 00 00 00 42 69 6e 54 72 61 63 65 44 61 74 61\n"
              "30 31 32 33 34 35 36 37 38 39 61 62 63 00 00 00\n");
}

/// A driver whose reads are watched and changed by a test.
struct Derived : ChannelDriver {
    using ChannelDriver::ChannelDriver;
    uint32_t GetNumSamples() override { return count ? count() : ChannelDriver::GetNumSamples(); }
    uint32_t SeekReadTraceData(uint32_t start, uint32_t requested, void* buffer, uint32_t& read) override {
        asked.emplace_back(start, requested);
        return seek ? seek(start, requested, buffer, read)
                    : ChannelDriver::SeekReadTraceData(start, requested, buffer, read);
    }
    std::function<uint32_t()> count;
    std::function<uint32_t(uint32_t, uint32_t, void*, uint32_t&)> seek;
    std::vector<std::pair<uint32_t, uint32_t>> asked;
};

TEST_F(Saving, ADerivedDriverDecidesWhatIsSaved) {
    auto& derived = MakeAs<Derived>();
    derived.count = [] { return 8193U; };
    derived.seek = [](uint32_t start, uint32_t requested, void* buffer, uint32_t& read) {
        read = std::min(requested, 5000U);
        std::memset(buffer, start == 0 ? 'a' : 'b', std::size_t{read} * 8);
        return read;
    };
    Save(2);
    EXPECT_EQ(Saved(), std::string(40000, 'a') + std::string(25544, 'b'));
    EXPECT_THAT(derived.asked, ElementsAre(std::pair(0U, 8192U), std::pair(5000U, 3193U)));
}

TEST_F(Saving, MoreThanWasAskedForIsNotTaken) {
    auto& derived = MakeAs<Derived>();
    derived.count = [] { return 4294967295U; };
    derived.seek = [](uint32_t start, uint32_t, void*, uint32_t& read) {
        if (start != 0) throw fakes::HostFault("seen");
        return read = 4294967295U;
    };
    EXPECT_THROW(Save(2), fakes::HostFault);
    EXPECT_THAT(derived.asked, ElementsAre(std::pair(0U, 8192U), std::pair(8192U, 8192U)));
}

TEST_F(Saving, ReadsThatGiveNothingAreRepeatedUntilTheSamplesAreThere) {
    SetCapture(Pattern(100000));  // 12500 samples
    auto& derived = MakeAs<Derived>();
    int refusals = 1000;
    derived.seek = [&](uint32_t start, uint32_t requested, void* buffer, uint32_t& read) {
        if (start == 8192 && refusals-- > 0) return read = 0;
        return derived.ChannelDriver::SeekReadTraceData(start, requested, buffer, read);
    };
    Save(2);
    EXPECT_EQ(Saved(), Pattern(100000));
    ASSERT_EQ(derived.asked.size(), 1002U);
    for (std::size_t index = 1; index < derived.asked.size(); ++index) {
        EXPECT_EQ(derived.asked[index], std::pair(8192U, 4308U));
    }
}

TEST_F(Saving, GoesOnByItselfWhenAShrunkFileIsRestored) {
    const LogAtLevel off("0");
    const std::string whole = Pattern(200000);
    SetCapture(whole);
    auto& derived = MakeAs<Derived>();
    std::atomic<int> reads{0};
    derived.seek = [&](uint32_t start, uint32_t requested, void* buffer, uint32_t& read) {
        if (++reads == 2) std::filesystem::resize_file(CaptureFileOf("cpu"), 1000);
        return derived.ChannelDriver::SeekReadTraceData(start, requested, buffer, read);
    };
    std::thread restorer([&] {
        EXPECT_TRUE(WaitFor([&] { return reads > 10; }));
        // Grown in place: a writer that replaced the file could be seen half-way.
        std::fstream file(CaptureFileOf("cpu"), std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(1000);
        file << whole.substr(1000);
    });
    TraceFolder::WriteFile(target, hostHeader);
    Save(0);
    restorer.join();
    const std::vector<TdfSection> sections = SectionsOf(Saved(), hostHeader.size());
    ASSERT_EQ(sections.size(), 1U);
    EXPECT_EQ(sections[0].data.size(), whole.size());
    EXPECT_EQ(sections[0].data.substr(0, 65536), whole.substr(0, 65536));
    EXPECT_GT(reads, 10);
}

TEST_F(Saving, WhatArrivesDuringTheSaveIsNotInIt) {
    SetCapture(Pattern(65536 + 8));
    auto& derived = MakeAs<Derived>();
    derived.seek = [&](uint32_t start, uint32_t requested, void* buffer, uint32_t& read) {
        SetCapture(Pattern(300000));
        return derived.ChannelDriver::SeekReadTraceData(start, requested, buffer, read);
    };
    Save(2);
    EXPECT_EQ(Saved(), Pattern(65536 + 8));
}

TEST_F(Saving, DoesNotTakeTheMutexThatAnotherThreadHolds) {
    StartRecording();
    driver->SetTargetState(6);
    std::promise<void> held;
    std::promise<void> saved;
    std::thread owner([&] {
        // A stop that is refused leaves the mutex with its thread, so this thread also has to destroy the
        // driver.
        EXPECT_THROW(driver->StopRecording(), cPelkitError);
        held.set_value();
        saved.get_future().wait();
        driver->SetTargetState(7);
        driver.reset();
    });
    held.get_future().wait();
    // None of these would come back if it wanted the mutex.
    const uint32_t samples = driver->GetNumSamples();
    char buffer[8];
    uint32_t read = 0;
    driver->SeekReadTraceData(0, 1, buffer, read);
    Save(2);
    EXPECT_GE(Saved().size(), samples * 8U);
    saved.set_value();
    owner.join();
}

}  // namespace
}  // namespace channel_tests
