#pragma once

#include <array>
#include <cstdio>
#include <streambuf>

namespace Korr::Plim::Trace::Tarnel {

/// The bytes of an open C stream for a std::istream: forwards only, block by block. A read error ends them.
class StreamInput : public std::streambuf {
  public:
    /// \param file not owned; null holds nothing
    explicit StreamInput(std::FILE* file) : source(file) {}

  protected:
    int_type underflow() override {
        const std::size_t size = source != nullptr ? std::fread(block.data(), 1, block.size(), source) : 0;
        setg(block.data(), block.data(), block.data() + size);
        return size == 0 ? traits_type::eof() : traits_type::to_int_type(block[0]);
    }

  private:
    std::FILE* source;
    std::array<char, 4096> block;
};

}  // namespace Korr::Plim::Trace::Tarnel
