#pragma once

#include <cstdio>
#include <memory>

#include "source_utilities/file_system.h"

namespace KORR_PLIM {

struct StreamCloser {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};

/// A stream that closes with its scope; null when it could not be opened.
using FileStream = std::unique_ptr<std::FILE, StreamCloser>;

/// Opens a file, shared with other readers and writers. \return null on failure, errno says why
inline FileStream OpenStream(const char* name, const char* mode) {
    return FileStream(platform::OpenShared(name, mode));
}

}  // namespace KORR_PLIM
