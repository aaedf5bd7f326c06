#pragma once

#include <string>

#include "exports/output.h"

namespace Korr::Plim::Trace::Exports {

/// Keeps what is written, and how often something was.
class MemoryOutput : public Output {
  public:
    void Write(const char* bytes, std::size_t count) override {
        text.append(bytes, count);
        ++writes;
    }
    std::string text;
    int writes = 0;
};

}  // namespace Korr::Plim::Trace::Exports
