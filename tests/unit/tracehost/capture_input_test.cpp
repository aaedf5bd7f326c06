#include "tracehost/capture_input.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "tracehost/errors.h"
#include "tracehost/file_access.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

/// Bytes in memory, given in pieces.
class MemorySource : public ByteSource {
  public:
    MemorySource(std::string content, std::size_t pieceSize) : bytes(std::move(content)), piece(pieceSize) {}
    std::size_t Read(std::span<uint8_t> buffer) override {
        const std::size_t count = std::min({piece, buffer.size(), bytes.size() - done});
        std::copy_n(bytes.data() + done, count, buffer.begin());
        done += count;
        return count;
    }

  private:
    std::string bytes;
    std::size_t piece;
    std::size_t done = 0;
};

struct Captures {
    std::vector<std::string> contents;
    std::vector<uint32_t> sections;
    std::string damage;
    bool tdf = false;
};

Captures ReadAll(CaptureInput& input) {
    Captures all;
    while (input.Next()) {
        all.sections.push_back(input.Section());
        std::string content;
        std::array<uint8_t, 7> buffer;
        while (const std::size_t count = input.Read(buffer)) {
            content.append(buffer.begin(), buffer.begin() + count);
        }
        all.contents.push_back(content);
    }
    EXPECT_FALSE(input.Next());
    all.damage = input.Damage();
    all.tdf = input.IsTdf();
    return all;
}

Captures ReadAll(const std::string& bytes, std::optional<uint32_t> only = std::nullopt,
                 std::size_t piece = 5) {
    CaptureInput input(std::make_unique<MemorySource>(bytes, piece), only);
    return ReadAll(input);
}

std::string Bytes(uint32_t number) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift & 0xFF);
    return bytes;
}

std::string Part(const std::string& name, const std::string& data) {
    const auto length = static_cast<uint32_t>(12 + name.size() + data.size());
    return Bytes(length) + Bytes(1) + Bytes(static_cast<uint32_t>(name.size())) + name + data;
}

std::string Capture(const std::string& data) { return Part("BinTraceData", data); }

using Texts = std::vector<std::string>;
using Numbers = std::vector<uint32_t>;

TEST(CaptureInput, ARawStreamIsOneCapture) {
    for (const std::string& text :
         {std::string(), std::string("K"), std::string("KTDF"), std::string(1000, 'x'),
          TdfHeader().substr(0, 15), std::string("KTDF") + Bytes(2) + std::string(40, 'y')}) {
        const Captures all = ReadAll(text);
        EXPECT_EQ(all.contents, Texts{text});
        EXPECT_EQ(all.sections, Numbers{0});
        EXPECT_FALSE(all.tdf);
        EXPECT_EQ(all.damage, "");
    }
}

TEST(CaptureInput, EveryCaptureOfATdfFileIsGivenInItsOrder) {
    const std::string file = TdfHeader() + Part("Other", "abc") + Capture("first") + Capture("") +
                             Part("", "") + Part(std::string(5000, 'n'), "long name") +
                             Capture(std::string(100000, 'z'));
    for (const std::size_t piece : {1u, 5u, 65536u}) {
        const Captures all = ReadAll(file, std::nullopt, piece);
        EXPECT_EQ(all.contents, (Texts{"first", "", std::string(100000, 'z')}));
        EXPECT_EQ(all.sections, (Numbers{1, 2, 3}));
        EXPECT_TRUE(all.tdf);
        EXPECT_EQ(all.damage, "");
    }
}

TEST(CaptureInput, OneCaptureCanBeChosen) {
    const std::string file =
        TdfHeader() + Capture("first") + Part("x", "y") + Capture("second") + Capture("third");
    EXPECT_EQ(ReadAll(file, 2).contents, Texts{"second"});
    EXPECT_EQ(ReadAll(file, 2).sections, Numbers{2});
    EXPECT_TRUE(ReadAll(file, 4).contents.empty());
    EXPECT_TRUE(ReadAll(file, 0).contents.empty());
}

TEST(CaptureInput, ACaptureNeedNotBeReadToItsEnd) {
    const std::string file = TdfHeader() + Capture(std::string(200000, 'a')) + Capture("second");
    CaptureInput input(std::make_unique<MemorySource>(file, 4096));
    ASSERT_TRUE(input.Next());
    EXPECT_EQ(input.Length(), 200000u);
    std::array<uint8_t, 3> some;
    EXPECT_EQ(input.Read(some), 3u);
    ASSERT_TRUE(input.Next());
    EXPECT_EQ(input.Length(), 6u);
    EXPECT_EQ(input.Section(), 2u);
}

TEST(CaptureInput, ACaptureThatTheFileCutsShortIsGivenAsFarAsItGoes) {
    const std::string whole = TdfHeader() + Capture("first") + Capture("second");
    const Captures all = ReadAll(whole.substr(0, whole.size() - 4));
    EXPECT_EQ(all.contents, (Texts{"first", "se"}));
    EXPECT_EQ(all.damage, "at offset 45: the section is longer than the rest of the file");
}

TEST(CaptureInput, DamageIsToldBehindTheCapturesBeforeIt) {
    const std::string good = TdfHeader() + Capture("first");
    const std::vector<std::pair<std::string, std::string>> bad = {
        {Bytes(0), "the file ends within a section header"},
        {Bytes(11) + Bytes(1) + Bytes(0), "the section length is below its header's"},
        {Bytes(20) + Bytes(1) + Bytes(9) + "name12345", "the name is longer than the section"},
        {Bytes(40) + Bytes(1) + Bytes(8) + "name", "the section is longer than the rest of the file"},
        {Bytes(4000) + Bytes(1) + Bytes(800) + std::string(300, 'n'),
         "the section is longer than the rest of the file"},
        {Bytes(400) + Bytes(1) + Bytes(1) + "n123", "the section is longer than the rest of the file"}};
    for (const auto& [bytes, problem] : bad) {
        const Captures all = ReadAll(good + bytes);
        EXPECT_EQ(all.contents, Texts{"first"});
        EXPECT_EQ(all.damage, "at offset 45: " + problem);
    }
}

TEST(CaptureInput, NoMoreSectionsAreReadThanAFileMayHave) {
    std::string file = TdfHeader();
    for (std::size_t i = 0; i <= kMostTdfSections; ++i) file += Part("", "");
    EXPECT_EQ(ReadAll(file, std::nullopt, 65536).damage, "at offset 120016: more than 10000 sections");
}

TEST(CaptureInput, AnyBytesBehindTheHeaderGiveTheBytesThatAreThere) {
    std::mt19937 random(3);
    for (int round = 0; round < 500; ++round) {
        std::string file =
            TdfHeader() + Capture(std::string(random() % 50, 'c')) + Part("p", "q") + Capture("end");
        for (int change = 0; change < 4; ++change) {
            file[kTdfHeaderSize + random() % (file.size() - kTdfHeaderSize)] =
                static_cast<char>(random() % 40);
        }
        std::size_t given = 0;
        for (const std::string& content : ReadAll(file).contents) given += content.size();
        EXPECT_LT(given, file.size());
    }
}

class CaptureFiles : public testing::Test {
  protected:
    void SetUp() override { std::filesystem::create_directories(folder); }
    void TearDown() override { std::filesystem::remove_all(folder); }
    std::string Path(const std::string& name) const { return (folder / name).string(); }
    void Write(const std::string& name, const std::string& content) {
        std::ofstream(Path(name), std::ios::binary) << content;
    }

    std::filesystem::path folder = std::filesystem::temp_directory_path() /
                                   ("tarnel_capture_input_" + std::to_string(std::random_device{}()));
};

TEST_F(CaptureFiles, AFileIsReadUpToTheSizeThatItHadAtFirst) {
    Write("raw", std::string(100, 'r'));
    CaptureInput input(std::make_unique<FileSource>(Path("raw")));
    std::ofstream(Path("raw"), std::ios::binary | std::ios::app) << "added later";
    const Captures all = ReadAll(input);
    EXPECT_EQ(all.contents, Texts{std::string(100, 'r')});
    EXPECT_EQ(input.Length(), 100u);
}

TEST_F(CaptureFiles, AFileThatBecomesShorterIsRefusedThere) {
    constexpr std::size_t kSize = 1 << 20;
    Write("raw", std::string(kSize, 'r'));
    CaptureInput input(std::make_unique<FileSource>(Path("raw")));
    ASSERT_TRUE(input.Next());
    std::array<uint8_t, 16> buffer;
    EXPECT_EQ(input.Read(buffer), 16u);
    std::filesystem::resize_file(Path("raw"), kSize / 2);
    std::string message;
    try {
        while (input.Read(buffer) > 0) continue;
    } catch (const HostError& error) {
        message = error.what();
    }
    EXPECT_EQ(message, "\"" + Path("raw") +
                           "\" cannot be read beyond 524288 bytes: did it become shorter while it was read?");
}

TEST_F(CaptureFiles, WhatCannotBeReadIsRefusedByName) {
    for (const std::string& name : {Path("missing"), folder.string(), std::string()}) {
        try {
            FileSource source(name);
            ADD_FAILURE() << name;
        } catch (const UsageError& error) {
            EXPECT_EQ(std::string(error.what()), "\"" + name + "\" cannot be read: " + WhyNotReadable(name));
        }
    }
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
