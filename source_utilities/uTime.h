#pragma once

#include <cstdint>

namespace KORR_PLIM {

/// A snapshot of the local time. The snapshot is process-wide: constructing a uTime anywhere changes what
/// every other uTime gives. Not locked.
class uTime {
  public:
    /// Reads the local clock into the shared snapshot.
    uTime();
    virtual ~uTime();

    int32_t Day() const;
    int32_t Month() const;  ///< 1 to 12
    int32_t Year() const;

    /// strftime of the shared snapshot, with "%s" as the milliseconds in three digits and "%#s" without
    /// padding (the first occurrence of each). \param size bytes of `buffer`; not positive gives null \return
    /// buffer, or null for a null buffer
    static char* Format(char* buffer, int32_t size, const char* format);
};

}  // namespace KORR_PLIM
