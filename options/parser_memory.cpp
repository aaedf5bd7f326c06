#include "options/parser_memory.h"

#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include <limits>
#include <new>

namespace Korr::Plim::Trace::Tarnel {

ParserMemory::ParserMemory() : ring{&ring, &ring} {}

ParserMemory::~ParserMemory() {
    while (ring.next != &ring) Remove(ring.next);
}

void* ParserMemory::allocate(XMLSize_t size) {
    if (size > std::numeric_limits<XMLSize_t>::max() - sizeof(Piece)) throw xercesc::OutOfMemoryException();
    void* memory = xercesc::XMLPlatformUtils::fgMemoryManager->allocate(sizeof(Piece) + size);
    auto* piece = new (memory) Piece{&ring, ring.next};
    piece->next->previous = piece;
    ring.next = piece;
    return piece + 1;
}

void ParserMemory::deallocate(void* memory) {
    if (memory != nullptr) Remove(static_cast<Piece*>(memory) - 1);
}

void ParserMemory::Remove(Piece* piece) {
    piece->previous->next = piece->next;
    piece->next->previous = piece->previous;
    xercesc::XMLPlatformUtils::fgMemoryManager->deallocate(piece);
}

}  // namespace Korr::Plim::Trace::Tarnel
