#include "tests/unit/trace/packet_log.h"

namespace Korr::Plim::Trace::Swo {

std::vector<Packet> Decode(const Bytes& bytes, const ItmOptions& options) {
    return DecodeCut(bytes, bytes.size(), 0, options);
}

std::vector<Packet> DecodeCut(const Bytes& bytes, size_t block, unsigned seed, const ItmOptions& options) {
    PacketLog log;
    ItmDecoder<PacketLog> decoder(log, options);
    std::mt19937 random(seed);
    for (size_t at = 0; at < bytes.size();) {
        const size_t chosen = block != 0 ? block : random() % (random() % 8 == 0 ? 3000 : 12);
        const size_t count = std::min(chosen, bytes.size() - at);
        decoder.Feed({&bytes[at], count});
        at += count;
    }
    decoder.Finish();
    EXPECT_TRUE(log.touching);
    return log.packets;
}

}  // namespace Korr::Plim::Trace::Swo
