#define ZLIB_CONST
#include "viewer/gzip.h"

#include <zlib.h>

#include <stdexcept>

namespace Korr::Plim::Trace::Viewer {

std::string Gzip(std::string_view bytes) {
    constexpr int kGzipForm = 16;              // beside the window's size
    constexpr size_t kMost = size_t{1} << 30;  // the library counts with 32 bits
    if (bytes.size() > kMost) throw std::runtime_error("more than 1 GiB is not compressed");
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, MAX_WBITS + kGzipForm, MAX_MEM_LEVEL,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("there is no memory to compress with");
    }
    std::string out(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
    stream.next_in = reinterpret_cast<const Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int end = deflate(&stream, Z_FINISH);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    if (end != Z_STREAM_END) throw std::runtime_error("compressing failed");
    return out;
}

}  // namespace Korr::Plim::Trace::Viewer
