#pragma once

#include <atomic>
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

    /// strftime of the shared snapshot, with every "%s" as the milliseconds in three digits and every "%#s"
    /// without padding. The format is cut to `size`; what a cut leaves of a conversion is dropped. Before the
    /// first capture the text is "Invalid time"; a result that does not fit is empty. \param size bytes of
    /// `buffer` \return buffer, or null for a null buffer or format, a size that is not positive, and while
    /// the time is disabled
    static char* Format(char* buffer, int32_t size, const char* format);

  protected:
    /// Whether the shared snapshot can be formatted. Nothing in the plug-in sets kDisabled.
    enum class Validity : int32_t { kValid = 0, kNeverCaptured = 1, kDisabled = 2 };
    static std::atomic<Validity> validity;
};

}  // namespace KORR_PLIM
