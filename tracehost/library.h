#pragma once

#include <string>

#include "source_utilities/dynamic_library.h"

namespace Korr::Plim::Trace::Tracehost {

/// One loaded dynamic library, unloaded with the object.
class Library {
  public:
    /// \param name base name (looked for beside this program first) or path, with or without the platform's
    /// extension \throws HostError
    explicit Library(const std::string& name);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    /// An exported function. \throws HostError when the library does not export it
    template <typename Function>
    Function Entry(const char* entry) const {
        return reinterpret_cast<Function>(Address(entry));
    }

    /// The file that was loaded; empty when unknown.
    std::string File(const char* entry) const;

  private:
    void* Address(const char* entry) const;

    std::string name;
    KORR_PLIM::platform::LibraryHandle handle;
};

}  // namespace Korr::Plim::Trace::Tracehost
