#include "tracehost/byte_backlog.h"

#include <new>

namespace Korr::Plim::Trace::Tracehost {

void ByteBacklog::Add(std::span<const uint8_t> bytes) {
    if (bytes.empty()) return;
    end += bytes.size();
    try {
        pieces.push_back(std::make_shared<const std::vector<uint8_t>>(bytes.begin(), bytes.end()));
    } catch (const std::bad_alloc&) {
        pieces.clear();
        begin = end;
        return;
    }
    while (pieces.size() > 1 && end - begin > limit) DropFirst();
}

void ByteBacklog::DropBefore(uint64_t offset) {
    while (!pieces.empty() && begin + pieces.front()->size() <= offset) DropFirst();
}

void ByteBacklog::DropFirst() {
    begin += pieces.front()->size();
    pieces.pop_front();
}

ByteBacklog::Piece ByteBacklog::At(uint64_t offset) const {
    uint64_t first = begin;
    for (const auto& piece : pieces) {
        if (offset < first + piece->size()) {
            return {piece, std::span(*piece).subspan(static_cast<std::size_t>(offset - first))};
        }
        first += piece->size();
    }
    return {};
}

}  // namespace Korr::Plim::Trace::Tracehost
