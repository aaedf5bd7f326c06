#pragma once

#include <fstream>
#include <string>

#include "simulator/swosource/signal/byte_source.h"

namespace Korr::Plim::Trace::Simulator {

/// Plays a file once.
class FileStream : public ByteSource {
  public:
    /// \throws std::runtime_error when the file cannot be opened
    explicit FileStream(const std::string& path);
    size_t Read(uint8_t* buffer, size_t count) override;
    nlohmann::ordered_json Content() const override;

  private:
    std::string path;
    std::ifstream file;
    uint64_t bytes = 0;
};

}  // namespace Korr::Plim::Trace::Simulator
