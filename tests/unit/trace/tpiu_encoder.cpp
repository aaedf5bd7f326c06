#include "tests/unit/trace/tpiu_encoder.h"

namespace Korr::Plim::Trace::Swo {
namespace {

class Formatter {
  public:
    Formatter(const std::vector<Given>& all, const Syncs& which, unsigned seed)
        : given(all), syncs(which), random(seed) {
        framed.places.resize(given.size());
    }

    Framed Run() {
        while (next < given.size()) MakeFrame();
        return framed;
    }

  private:
    bool Chance(unsigned oneIn) { return oneIn != 0 && random() % oneIn == 0; }

    void MakeFrame() {
        if (Chance(syncs.full)) Send({0xFF, 0xFF, 0xFF, 0x7F});
        lowBits = 0;
        for (unsigned pair = 0; pair < 8; ++pair) {
            if (Chance(syncs.half)) Send({0xFF, 0x7F});
            MakePair(pair);
        }
        framed.bytes.push_back(static_cast<uint8_t>(lowBits));
    }

    void MakePair(unsigned pair) {
        const bool last = pair == 7;
        if (next == given.size()) {
            if (current != 0) {
                ChangeTo(0, pair, false);
            } else {
                framed.bytes.push_back(0);
            }
            if (!last) framed.bytes.push_back(0);
            return;
        }
        if (given[next].stream != current) {
            ChangeTo(given[next].stream, pair, false);
            if (!last) SendNext();
            return;
        }
        const bool change = next + 1 == given.size() || given[next + 1].stream != current;
        if (!last && change) {
            // The number stands in front of the old stream's last byte.
            ChangeTo(next + 1 == given.size() ? 0 : given[next + 1].stream, pair, true);
            SendNext();
            return;
        }
        lowBits |= (given[next].byte & 1U) << pair;
        framed.places[next] = framed.bytes.size();
        framed.bytes.push_back(static_cast<uint8_t>(given[next++].byte & 0xFE));
        if (!last) SendNext();
    }

    void ChangeTo(uint8_t stream, unsigned pair, bool late) {
        current = stream;
        framed.bytes.push_back(static_cast<uint8_t>(stream * 2 + 1));
        if (late) lowBits |= 1U << pair;
    }
    void SendNext() {
        framed.places[next] = framed.bytes.size();
        framed.bytes.push_back(given[next++].byte);
    }
    void Send(const Bytes& bytes) { framed.bytes.insert(framed.bytes.end(), bytes.begin(), bytes.end()); }

    const std::vector<Given>& given;
    Syncs syncs;
    std::mt19937 random;
    Framed framed;
    size_t next = 0;
    uint8_t current = 0xFF;
    unsigned lowBits = 0;
};

}  // namespace

Framed Frame(const std::vector<Given>& given, const Syncs& syncs, unsigned seed) {
    return Formatter(given, syncs, seed).Run();
}

std::vector<Given> Mixed(const Bytes& bytes, uint8_t stream, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<Given> given;
    for (size_t at = 0; at < bytes.size();) {
        for (size_t count = 1 + random() % 24; count != 0 && at < bytes.size(); --count) {
            given.push_back({stream, bytes[at++]});
        }
        const unsigned chance = random() % 4;
        const auto other = static_cast<uint8_t>(chance == 0 ? stream + 1 : 0);
        if (chance > 1) continue;
        for (size_t count = 1 + random() % 20; count != 0; --count) {
            given.push_back({other, static_cast<uint8_t>(other == 0 ? 0 : random())});
        }
    }
    return given;
}

}  // namespace Korr::Plim::Trace::Swo
