#pragma once

#include <xercesc/framework/MemoryManager.hpp>

namespace Korr::Plim::Trace::Tarnel {

/// Memory for one parser, from the XML library's own manager. The parser forgets some of it when it gives up
/// in the middle of a document type; what is left at the end is given back here. Must outlive the parser and
/// the parser's exceptions, and end before the library is terminated. One thread.
class ParserMemory : public xercesc::MemoryManager {
  public:
    ParserMemory();
    ~ParserMemory() override;
    ParserMemory(const ParserMemory&) = delete;
    ParserMemory& operator=(const ParserMemory&) = delete;

    xercesc::MemoryManager* getExceptionMemoryManager() override { return this; }
    /// \throws xercesc::OutOfMemoryException
    void* allocate(XMLSize_t size) override;
    /// Null is allowed.
    void deallocate(void* memory) override;

  private:
    /// Stands before every piece of memory; the pieces form a ring. Its size keeps the memory aligned.
    struct alignas(16) Piece {
        Piece* previous;
        Piece* next;
    };
    static void Remove(Piece* piece);

    Piece ring;  ///< holds no memory itself
};

}  // namespace Korr::Plim::Trace::Tarnel
