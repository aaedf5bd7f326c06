#include "tests/unit/viewer/gunzip.h"

#include <gtest/gtest.h>
#include <zlib.h>

namespace Korr::Plim::Trace::Viewer {

std::string Gunzip(const std::string& packed) {
    std::string copy = packed;
    z_stream stream{};
    EXPECT_EQ(inflateInit2(&stream, MAX_WBITS + 16), Z_OK);
    stream.next_in = reinterpret_cast<Bytef*>(copy.data());
    stream.avail_in = static_cast<uInt>(copy.size());
    std::string out;
    int end = Z_OK;
    while (end == Z_OK) {
        std::string piece(65536, '\0');
        stream.next_out = reinterpret_cast<Bytef*>(piece.data());
        stream.avail_out = static_cast<uInt>(piece.size());
        end = inflate(&stream, Z_NO_FLUSH);
        out.append(piece, 0, piece.size() - stream.avail_out);
    }
    EXPECT_EQ(end, Z_STREAM_END);
    EXPECT_EQ(stream.avail_in, 0U) << "something stands behind it";
    inflateEnd(&stream);
    return out;
}

}  // namespace Korr::Plim::Trace::Viewer
