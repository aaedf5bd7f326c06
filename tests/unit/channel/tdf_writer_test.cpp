#include "channel/tdf_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/expect_error.h"
#include "tests/unit/channel/tdf_file.h"

namespace channel_tests {
namespace {

using namespace Korr::Plim::Trace::Tarnel;
using support::ErrorOf;
using support::TraceFolder;

constexpr char kBadName[] = "File name passed to save file is not valid.";
constexpr char kHeaderSize[] = "Write error -  TDF section header size.";
constexpr char kNoData[] = "Write I/O error - unable to write section data.";

class TdfWriter : public testing::Test {
  protected:
    ~TdfWriter() override { std::filesystem::remove(file); }

    void SetFile(const std::string& content) const { TraceFolder::WriteFile(file, content); }
    std::string Content() const { return TraceFolder::ReadFile(file); }
    uint32_t Begin(const char* name = "BinTraceData", uint32_t version = 1) const {
        uint32_t offset = 99;
        BeginSection(file.c_str(), name, version, offset);
        return offset;
    }
    uint32_t Append(uint32_t offset, const std::string& data, uint32_t elementSize = 8) const {
        uint32_t length = 99;
        AppendSectionData(file.c_str(), "BinTraceData", offset, data.data(), elementSize,
                          static_cast<uint32_t>(data.size()) / elementSize, length);
        return length;
    }
    /// Makes the file this long without data on disk, and puts bytes at an offset.
    void SetSparseFile(uint64_t length, uint64_t offset, const std::string& bytes) const {
        SetFile("");
        std::filesystem::resize_file(file, length);
        Patch(offset, bytes);
    }
    void Patch(uint64_t offset, const std::string& bytes) const {
        std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
        stream.seekp(static_cast<std::streamoff>(offset));
        stream << bytes;
    }
    std::string At(uint64_t offset, std::size_t size) const {
        std::ifstream stream(file, std::ios::binary);
        stream.seekg(static_cast<std::streamoff>(offset));
        std::string bytes(size, '\0');
        stream.read(bytes.data(), static_cast<std::streamsize>(size));
        bytes.resize(static_cast<std::size_t>(stream.gcount()));
        return bytes;
    }

    const std::string file = TraceFolder::Instance().Path("host.tdf");
    const std::string hostHeader = "TDF file";
};

TEST_F(TdfWriter, ASectionBeginsAtTheEndOfTheFile) {
    SetFile(hostHeader);
    EXPECT_EQ(Begin("BinTraceData", 0x01020304), 8U);
    const std::vector<TdfSection> sections = SectionsOf(Content(), 8);
    ASSERT_EQ(sections.size(), 1U);
    EXPECT_EQ(sections[0].length, 24U);
    EXPECT_EQ(sections[0].version, 0x01020304U);
    EXPECT_EQ(sections[0].name, "BinTraceData");
    EXPECT_EQ(Content().substr(0, 8), hostHeader);
}

TEST_F(TdfWriter, ANullNameGivesAHeaderOfTwelveBytes) {
    SetFile(hostHeader);
    EXPECT_EQ(Begin(nullptr, 7), 8U);
    EXPECT_EQ(Content().size(), 20U);
    const std::vector<TdfSection> sections = SectionsOf(Content(), 8);
    ASSERT_EQ(sections.size(), 1U);
    EXPECT_EQ(sections[0].length, 12U);
    EXPECT_EQ(sections[0].version, 7U);
    EXPECT_EQ(sections[0].name, "");
}

TEST_F(TdfWriter, PiecesAreKeptInOrder) {
    SetFile(hostHeader);
    const uint32_t offset = Begin();
    EXPECT_EQ(Append(offset, std::string(24, 'a')), 24U + 24U);
    EXPECT_EQ(Append(offset, std::string(16, 'b')), 24U + 40U);
    const std::vector<TdfSection> sections = SectionsOf(Content(), 8);
    ASSERT_EQ(sections.size(), 1U);
    EXPECT_EQ(sections[0].length, 12U + 12U + 40U);
    EXPECT_EQ(sections[0].data, std::string(24, 'a') + std::string(16, 'b'));
}

TEST_F(TdfWriter, APieceWithoutElementsChangesNothing) {
    SetFile(hostHeader);
    const uint32_t offset = Begin();
    const std::string before = Content();
    EXPECT_EQ(Append(offset, ""), 24U);
    EXPECT_EQ(Content(), before);
}

TEST_F(TdfWriter, SectionsStandOneAfterTheOther) {
    SetFile(hostHeader);
    Append(Begin("first", 1), std::string(8, 'a'));
    Append(Begin("second", 2), std::string(6, 'b'), 2);
    const std::vector<TdfSection> sections = SectionsOf(Content(), 8);
    ASSERT_EQ(sections.size(), 2U);
    EXPECT_EQ(sections[0].name, "first");
    EXPECT_EQ(sections[0].data, "aaaaaaaa");
    EXPECT_EQ(sections[1].name, "second");
    EXPECT_EQ(sections[1].version, 2U);
    EXPECT_EQ(sections[1].data, "bbbbbb");
}

TEST_F(TdfWriter, LongNamesAreWrittenWhole) {
    SetFile(hostHeader);
    const std::string name(10000, 'n');
    Append(Begin(name.c_str()), "12345678");
    const std::vector<TdfSection> sections = SectionsOf(Content(), 8);
    ASSERT_EQ(sections.size(), 1U);
    EXPECT_EQ(sections[0].name, name);
    EXPECT_EQ(sections[0].data, "12345678");
}

TEST_F(TdfWriter, ASectionOfAnEmptyFileTakesNoData) {
    SetFile("");
    EXPECT_EQ(Begin(), 0U);
    EXPECT_EQ(Content().size(), 24U);
    EXPECT_EQ(ErrorOf([&] { Append(0, "12345678"); }), "Section header offset to save data is not valid.");
    EXPECT_EQ(Content().size(), 24U);
}

TEST_F(TdfWriter, OffsetsBelowFourAreRefused) {
    SetFile(hostHeader);
    for (uint32_t offset = 0; offset < 4; ++offset) {
        EXPECT_EQ(ErrorOf([&] { Append(offset, "12345678"); }),
                  "Section header offset to save data is not valid.");
    }
    SetFile("abcd");
    EXPECT_EQ(Begin(), 4U);
    EXPECT_EQ(Append(4, "12345678"), 32U);
}

TEST_F(TdfWriter, AMissingFileIsRefusedAndNotMade) {
    EXPECT_EQ(ErrorOf([&] { Begin(); }), kBadName);
    EXPECT_EQ(ErrorOf([&] { Append(8, "12345678"); }), kBadName);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(TdfWriter, NullAndEmptyNamesAreRefused) {
    for (const char* name : {static_cast<const char*>(nullptr), ""}) {
        uint32_t out = 99;
        EXPECT_EQ(ErrorOf([&] { BeginSection(name, "x", 1, out); }), kBadName);
        EXPECT_EQ(out, 0U);
        out = 99;
        EXPECT_EQ(ErrorOf([&] { AppendSectionData(name, "x", 8, "12345678", 8, 1, out); }), kBadName);
        EXPECT_EQ(out, 0U);
    }
}

TEST_F(TdfWriter, ThereMustBeData) {
    SetFile(hostHeader);
    const uint32_t offset = Begin();
    const std::string before = Content();
    uint32_t length = 99;
    EXPECT_EQ(ErrorOf([&] { AppendSectionData(file.c_str(), "x", offset, nullptr, 8, 1, length); }),
              "No data to write TDF.");
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(Content(), before);
}

TEST_F(TdfWriter, AFaultyOffsetIsSeenBeforeMissingData) {
    SetFile(hostHeader);
    uint32_t length = 99;
    EXPECT_EQ(ErrorOf([&] { AppendSectionData(file.c_str(), "x", 0, nullptr, 8, 1, length); }),
              "Section header offset to save data is not valid.");
}

TEST_F(TdfWriter, AnOffsetWithoutALengthIsRefused) {
    SetFile(hostHeader);
    for (const uint32_t offset : {5U, 8U, 4294967295U}) {
        EXPECT_EQ(ErrorOf([&] { Append(offset, "12345678"); }),
                  "Write I/O error - unable to determine section length.");
    }
    EXPECT_EQ(Content(), hostHeader);
}

TEST_F(TdfWriter, ElementsWithoutSizeAreNotWritten) {
    SetFile(hostHeader);
    const uint32_t offset = Begin();
    const std::string before = Content();
    uint32_t length = 99;
    EXPECT_EQ(ErrorOf([&] { AppendSectionData(file.c_str(), "x", offset, "1", 0, 1, length); }), kNoData);
    EXPECT_EQ(Content(), before);
}

TEST_F(TdfWriter, AHeaderMayEndAtTheLargestFileAndNoFurther) {
    const uint64_t largest = 4294967295;
    SetSparseFile(largest - 24, largest - 32, "the tail");
    EXPECT_EQ(Begin(), largest - 24);
    EXPECT_EQ(std::filesystem::file_size(file), largest);
    EXPECT_EQ(FieldAt(At(largest - 24, 4), 0), 24U);

    SetSparseFile(largest - 23, largest - 31, "the tail");
    uint32_t offset = 99;
    EXPECT_EQ(ErrorOf([&] { BeginSection(file.c_str(), "BinTraceData", 1, offset); }), kHeaderSize);
    EXPECT_EQ(offset, 0U);
    EXPECT_EQ(std::filesystem::file_size(file), largest - 23);
    EXPECT_EQ(At(largest - 31, 100), "the tail");
}

TEST_F(TdfWriter, AFileAboveFourGibibytesIsRefusedAndKept) {
    const uint64_t length = (uint64_t{4} << 30) + 100;
    SetSparseFile(length, 0, hostHeader);
    EXPECT_EQ(ErrorOf([&] { Begin(); }), kHeaderSize);
    EXPECT_EQ(std::filesystem::file_size(file), length);
    EXPECT_EQ(At(0, 12), hostHeader + std::string(4, '\0'));
    EXPECT_EQ(At(100, 24), std::string(24, '\0'));  // where a wrapped position would lead
}

TEST_F(TdfWriter, DataMayEndAtTheLargestFileAndNoFurther) {
    const uint64_t largest = 4294967295;
    const auto offset = static_cast<uint32_t>(largest - 24 - 12);
    SetSparseFile(offset, 0, hostHeader);
    ASSERT_EQ(Begin(), offset);
    EXPECT_EQ(ErrorOf([&] { Append(offset, std::string(16, 'x')); }), kNoData);
    EXPECT_EQ(std::filesystem::file_size(file), uint64_t{offset} + 24);
    EXPECT_EQ(FieldAt(At(offset, 4), 0), 24U);
    EXPECT_EQ(Append(offset, std::string(12, 'y'), 1), 36U);
    EXPECT_EQ(std::filesystem::file_size(file), largest);
    EXPECT_EQ(ErrorOf([&] { Append(offset, "z", 1); }), kNoData);
    EXPECT_EQ(At(0, 8), hostHeader);
    EXPECT_EQ(At(offset + 24, 100), std::string(12, 'y'));
}

TEST_F(TdfWriter, ALongSectionMayPassTwoGibibytes) {
    SetFile(hostHeader);
    const uint32_t offset = Begin();
    const uint32_t length = 3000000000U;
    std::filesystem::resize_file(file, uint64_t{offset} + length);
    Patch(offset, std::string("\x00\x5e\xd0\xb2", 4));
    EXPECT_EQ(Append(offset, "the next"), length + 8);
    EXPECT_EQ(At(uint64_t{offset} + length, 100), "the next");
    EXPECT_EQ(FieldAt(At(offset, 4), 0), length + 8);
}

TEST_F(TdfWriter, ASectionLengthThatLeadsBeyondTheLargestFileIsRefused) {
    SetFile(hostHeader);
    const uint32_t offset = Begin();
    Patch(offset, std::string(4, '\xFF'));
    const std::string before = Content();
    EXPECT_EQ(ErrorOf([&] { Append(offset, "12345678"); }), kNoData);
    EXPECT_EQ(Content(), before);
}

TEST_F(TdfWriter, HugeCountsDoNotOverflow) {
    SetFile(hostHeader);
    const uint32_t offset = Begin();
    const std::string before = Content();
    uint32_t length = 99;
    EXPECT_EQ(ErrorOf([&] {
                  AppendSectionData(file.c_str(), "x", offset, "12345678", 4294967295U, 4294967295U, length);
              }),
              kNoData);
    EXPECT_EQ(
        ErrorOf([&] { AppendSectionData(file.c_str(), "x", offset, "12345678", 8, 536870912U, length); }),
        kNoData);
    EXPECT_EQ(Content(), before);
}

TEST_F(TdfWriter, TheFileIsThisByteForByte) {
    SetFile("HEAD");
    const uint32_t offset = Begin("BinTraceData", 0x11223344);
    Append(offset, "01234567");
    Append(offset, std::string("89abcde\xFF", 8));
    EXPECT_EQ(HexDump(Content()),
              "48 45 41 44 28 00 00 00 44 33 22 11 0c 00 00 00\n"
              "42 69 6e 54 72 61 63 65 44 61 74 61 30 31 32 33\n"
              "34 35 36 37 38 39 61 62 63 64 65 ff\n");
}

}  // namespace
}  // namespace channel_tests
