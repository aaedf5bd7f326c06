// The bytes of captures in files, in memory, and of captures that move.
#include "tracehost/capture_bytes.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <limits>
#include <numeric>

#include "tests/unit/tracehost/views/said_text.h"
#include "tracehost/errors.h"
#include "tracehost/file_access.h"

namespace Korr::Plim::Trace::Tracehost {
namespace {

constexpr uint64_t kFarthest = std::numeric_limits<uint64_t>::max();

std::vector<uint8_t> Numbers(std::size_t count) {
    std::vector<uint8_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), uint8_t{0});
    return numbers;
}

/// What is read from an offset on; bytes behind it stay 0xEE.
std::vector<uint8_t> ReadFrom(const Swo::CaptureBytes& bytes, uint64_t offset, std::size_t most = 4) {
    std::vector<uint8_t> buffer(most + 1, 0xEE);
    const std::size_t count = bytes.ReadAt(offset, std::span(buffer).first(most));
    EXPECT_LE(count, most);
    EXPECT_EQ(buffer[count], 0xEE) << "nothing behind what was read";
    buffer.resize(count);
    return buffer;
}

using List = std::vector<uint8_t>;

class CaptureBytesTest : public testing::Test {
  protected:
    views::Folder folder;
};

TEST_F(CaptureBytesTest, FileIsReadFromAnyPlaceToItsEnd) {
    const FileBytes bytes(folder.Put("o.bin", Numbers(10)), 0);
    EXPECT_EQ(ReadFrom(bytes, 0), (List{0, 1, 2, 3}));
    EXPECT_EQ(ReadFrom(bytes, 6), (List{6, 7, 8, 9}));
    EXPECT_EQ(ReadFrom(bytes, 7), (List{7, 8, 9}));
    EXPECT_EQ(ReadFrom(bytes, 9), List{9});
    EXPECT_EQ(ReadFrom(bytes, 3, 0), List());
    EXPECT_EQ(ReadFrom(bytes, 0, 100), Numbers(10));
    EXPECT_EQ(ReadFrom(bytes, 0), (List{0, 1, 2, 3})) << "also behind an end that was met";
}

TEST_F(CaptureBytesTest, NothingIsReadPastTheEndHoweverFar) {
    const FileBytes bytes(folder.Put("o.bin", Numbers(10)), 4);
    for (const uint64_t offset :
         {uint64_t{6}, uint64_t{7}, uint64_t{1} << 32, (uint64_t{1} << 63) - 4, (uint64_t{1} << 63) - 1,
          uint64_t{1} << 63, kFarthest - 4, kFarthest - 3, kFarthest}) {
        EXPECT_EQ(ReadFrom(bytes, offset), List()) << offset;
    }
    EXPECT_EQ(ReadFrom(bytes, 5), List{9});
    const FileBytes nowhere(folder.Path("o.bin"), kFarthest);
    for (const uint64_t offset : {uint64_t{0}, uint64_t{1}, uint64_t{5}, kFarthest}) {
        EXPECT_EQ(ReadFrom(nowhere, offset), List()) << "the sum would lead back to the beginning";
    }
}

TEST_F(CaptureBytesTest, FileGrowsAndShrinksUnderItsReader) {
    const std::string file = folder.Put("o.bin", Numbers(4));
    const FileBytes bytes(file, 2);
    EXPECT_EQ(ReadFrom(bytes, 0), (List{2, 3}));
    folder.Put("o.bin", List{7, 8, 9}, true);
    EXPECT_EQ(ReadFrom(bytes, 0, 10), (List{2, 3, 7, 8, 9}));
    std::filesystem::resize_file(file, 3);
    EXPECT_EQ(ReadFrom(bytes, 1), List());
    EXPECT_EQ(ReadFrom(bytes, 0), List{2});
    std::filesystem::resize_file(file, 0);
    EXPECT_EQ(ReadFrom(bytes, 0), List());
    folder.Put("o.bin", Numbers(4), true);
    EXPECT_EQ(ReadFrom(bytes, 0), (List{2, 3}));
}

TEST_F(CaptureBytesTest, FileThatCannotBeReadIsRefusedWithTheReason) {
    for (const char* const name : {"missing.bin", "."}) {
        const std::string file = folder.Path(name);
        try {
            const FileBytes bytes(file, 0);
            ADD_FAILURE() << name;
        } catch (const UsageError& refusal) {
            EXPECT_EQ(refusal.what(), "\"" + file + "\" cannot be read: " + WhyNotReadable(file));
        }
    }
}

TEST_F(CaptureBytesTest, ThreadsReadOneFileAtOnceWithoutMixingTheirPlaces) {
    const FileBytes bytes(folder.Put("o.bin", Numbers(256)), 0);
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (uint8_t place = 0; place < 4; ++place) {
        readers.emplace_back([&bytes, &wrong, place] {
            for (int i = 0; i < 2000; ++i) {
                std::array<uint8_t, 1> byte{};
                const auto at = static_cast<uint8_t>(place * 61 + i);
                if (bytes.ReadAt(at, byte) != 1 || byte[0] != at) ++wrong;
            }
        });
    }
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(wrong, 0);
}

TEST_F(CaptureBytesTest, KeptBytesAreThoseThatWereAppended) {
    KeptBytes bytes;
    EXPECT_EQ(ReadFrom(bytes, 0), List());
    bytes.Append({});
    bytes.Append(List{1, 2, 3});
    EXPECT_EQ(ReadFrom(bytes, 0), (List{1, 2, 3}));
    bytes.Append(List{4, 5});
    EXPECT_EQ(ReadFrom(bytes, 1), (List{2, 3, 4, 5}));
    EXPECT_EQ(ReadFrom(bytes, 4), List{5});
    EXPECT_EQ(ReadFrom(bytes, 2, 0), List());
    for (const uint64_t offset : {uint64_t{5}, uint64_t{6}, uint64_t{1} << 63, kFarthest}) {
        EXPECT_EQ(ReadFrom(bytes, offset), List()) << offset;
    }
}

TEST_F(CaptureBytesTest, MovedBytesAreReadAtTheirNewPlace) {
    auto first = std::make_shared<KeptBytes>();
    first->Append(List{1, 2});
    const std::weak_ptr<KeptBytes> old = first;
    MovableBytes bytes(std::move(first));
    EXPECT_EQ(ReadFrom(bytes, 0), (List{1, 2}));
    bytes.MoveTo(std::make_shared<FileBytes>(folder.Put("o.bin", List{0, 1, 2, 3}), 1));
    EXPECT_EQ(ReadFrom(bytes, 0), (List{1, 2, 3}));
    EXPECT_TRUE(old.expired()) << "the first place is let go";
}

TEST_F(CaptureBytesTest, BytesAreMovedWhileTheyAreRead) {
    const auto place = [] {
        auto bytes = std::make_shared<KeptBytes>();
        bytes->Append(List{1, 2, 3});
        return bytes;
    };
    MovableBytes bytes(place());
    std::atomic<bool> over{false};
    int wrong = 0;
    std::thread reader([&] {
        while (!over) wrong += ReadFrom(bytes, 0) == List{1, 2, 3} ? 0 : 1;
    });
    for (int i = 0; i < 200000; ++i) bytes.MoveTo(place());
    over = true;
    reader.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tracehost
