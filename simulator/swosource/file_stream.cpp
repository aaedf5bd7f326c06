#include "simulator/swosource/file_stream.h"

#include <stdexcept>

namespace Korr::Plim::Trace::Simulator {

FileStream::FileStream(const std::string& name) : path(name), file(name, std::ios::binary) {
    if (!file) throw std::runtime_error(path + ": cannot be read");
}

size_t FileStream::Read(uint8_t* buffer, size_t count) {
    file.read(reinterpret_cast<char*>(buffer), static_cast<std::streamsize>(count));
    const auto got = static_cast<size_t>(file.gcount());
    bytes += got;
    return got;
}

nlohmann::ordered_json FileStream::Content() const { return {{"file", path}, {"bytes", bytes}}; }

}  // namespace Korr::Plim::Trace::Simulator
