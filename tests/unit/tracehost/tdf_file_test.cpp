#include "tracehost/tdf_file.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Korr::Plim::Trace::Tracehost {

namespace {

std::string Number(uint32_t number) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift & 0xFF);
    return bytes;
}

std::string Section(const std::string& name, const std::string& data) {
    const auto length = static_cast<uint32_t>(12 + name.size() + data.size());
    return Number(length) + Number(1) + Number(static_cast<uint32_t>(name.size())) + name + data;
}

TdfContents Read(const std::string& sections) {
    const std::string text = TdfHeader() + sections;
    std::istringstream file(text);
    EXPECT_TRUE(IsTdfFile(file));
    return ReadTdfSections(file, text.size());
}

TEST(TdfFile, HeaderHasMagicVersionAndOffsetOfTheFirstSection) {
    EXPECT_EQ(TdfHeader(), std::string("KTDF") + Number(1) + Number(16) + Number(0));
    EXPECT_EQ(TdfHeader().size(), kTdfHeaderSize);
}

TEST(TdfFile, OtherAndShortFilesAreNoTdfFiles) {
    for (const std::string& text : {std::string(), std::string("KTDF"), std::string(64, 'x')}) {
        std::istringstream file(text);
        EXPECT_FALSE(IsTdfFile(file));
    }
}

TEST(TdfFile, SectionsAreListedInFileOrder) {
    const TdfContents contents = Read(Section("BinTraceData", std::string(16, 'x')) + Section("", "y"));
    EXPECT_EQ(contents.damage, "");
    ASSERT_EQ(contents.sections.size(), 2u);
    EXPECT_EQ(contents.sections[0].offset, 16u);
    EXPECT_EQ(contents.sections[0].length, 40u);
    EXPECT_EQ(contents.sections[0].version, 1u);
    EXPECT_EQ(contents.sections[0].name, "BinTraceData");
    EXPECT_EQ(contents.sections[1].offset, 56u);
    EXPECT_EQ(contents.sections[1].name, "");
}

TEST(TdfFile, FileWithoutSectionsIsWhole) {
    EXPECT_TRUE(Read("").sections.empty());
    EXPECT_EQ(Read("").damage, "");
}

TEST(TdfFile, SectionOfLengthZeroEndsTheList) {
    EXPECT_EQ(Read(Number(0) + Number(1) + Number(0)).damage,
              "at offset 16: the section length is below its header's");
}

TEST(TdfFile, SectionBeyondTheFileIsDamage) {
    EXPECT_EQ(Read(Number(0xFFFFFFFF) + Number(1) + Number(0)).damage,
              "at offset 16: the section is longer than the rest of the file");
}

TEST(TdfFile, NameBeyondItsSectionIsDamage) {
    EXPECT_EQ(Read(Number(12) + Number(1) + Number(0xFFFFFFFF)).damage,
              "at offset 16: the name is longer than the section");
}

TEST(TdfFile, TruncatedHeaderIsDamageAfterTheSectionsBeforeIt) {
    const TdfContents contents = Read(Section("a", "") + "xyz");
    EXPECT_EQ(contents.sections.size(), 1u);
    EXPECT_EQ(contents.damage, "at offset 29: the file ends within a section header");
}

TEST(TdfFile, LongNamesAreCutAndKeepTheirLength) {
    const TdfContents contents = Read(Section(std::string(1000, 'n'), ""));
    ASSERT_EQ(contents.sections.size(), 1u);
    EXPECT_EQ(contents.sections[0].name.size(), kLongestTdfName);
    EXPECT_EQ(contents.sections[0].nameLength, 1000u);
}

TEST(TdfFile, NumberOfSectionsIsBounded) {
    std::string sections;
    for (std::size_t i = 0; i <= kMostTdfSections; ++i) sections += Section("", "");
    const TdfContents contents = Read(sections);
    EXPECT_EQ(contents.sections.size(), kMostTdfSections);
    EXPECT_NE(contents.damage.find("more than 10000 sections"), std::string::npos);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
