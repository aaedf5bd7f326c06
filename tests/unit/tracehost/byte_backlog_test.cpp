#include "tracehost/byte_backlog.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {

using namespace Korr::Plim::Trace::Tracehost;

std::vector<uint8_t> Bytes(std::size_t count, uint8_t first) {
    std::vector<uint8_t> bytes(count);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

TEST(ByteBacklog, HasNothingAtFirst) {
    const ByteBacklog backlog(10);
    EXPECT_EQ(backlog.Begin(), 0U);
    EXPECT_EQ(backlog.End(), 0U);
    EXPECT_TRUE(backlog.At(0).bytes.empty());
}

TEST(ByteBacklog, GivesBytesFromAnyOffsetUpToTheEndOfWhatCameTogether) {
    ByteBacklog backlog(100);
    backlog.Add(Bytes(4, 0));
    backlog.Add({});
    backlog.Add(Bytes(3, 4));
    const std::vector<uint8_t> expected = Bytes(7, 0);
    for (uint64_t offset = 0; offset < 7; ++offset) {
        const ByteBacklog::Piece piece = backlog.At(offset);
        ASSERT_EQ(piece.bytes.size(), offset < 4 ? 4 - offset : 7 - offset);
        EXPECT_TRUE(
            std::equal(piece.bytes.begin(), piece.bytes.end(), expected.begin() + static_cast<int>(offset)));
    }
    EXPECT_TRUE(backlog.At(7).bytes.empty());
}

TEST(ByteBacklog, KeepsAtMostItsLimitAndAlwaysTheLast) {
    ByteBacklog backlog(10);
    backlog.Add(Bytes(4, 0));
    backlog.Add(Bytes(6, 4));
    EXPECT_EQ(backlog.Begin(), 0U);
    backlog.Add(Bytes(1, 10));
    EXPECT_EQ(backlog.Begin(), 4U);
    backlog.Add(Bytes(25, 11));
    EXPECT_EQ(backlog.Begin(), 11U);
    EXPECT_EQ(backlog.End(), 36U);
    EXPECT_EQ(backlog.At(11).bytes.size(), 25U);
}

TEST(ByteBacklog, DropsWhatNobodyWantsAnyMoreInWholePieces) {
    ByteBacklog backlog(100);
    backlog.Add(Bytes(4, 0));
    backlog.Add(Bytes(4, 4));
    backlog.DropBefore(3);
    EXPECT_EQ(backlog.Begin(), 0U);
    backlog.DropBefore(7);
    EXPECT_EQ(backlog.Begin(), 4U);
    backlog.DropBefore(8);
    EXPECT_EQ(backlog.Begin(), 8U);
    EXPECT_EQ(backlog.End(), 8U);
}

TEST(ByteBacklog, PieceOutlivesItsPlace) {
    ByteBacklog backlog(1);
    backlog.Add(Bytes(4, 7));
    const ByteBacklog::Piece piece = backlog.At(0);
    backlog.Add(Bytes(4, 0));
    EXPECT_EQ(backlog.Begin(), 4U);
    EXPECT_EQ(std::vector(piece.bytes.begin(), piece.bytes.end()), Bytes(4, 7));
}

}  // namespace
