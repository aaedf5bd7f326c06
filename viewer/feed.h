#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Viewer {

/// A question that cannot be answered as it is asked: a window that ends before it begins, a port without
/// text.
class BadQuestion : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct WindowQuestion {
    double from = 0;                  ///< on the axis
    double to = 0;                    ///< behind `from`
    uint32_t pixels = 1;              ///< 1 to kMostPixels
    std::vector<std::string> tracks;  ///< ids; empty: all
    bool columns = false;             ///< columns even where every event could be told
};
inline constexpr uint32_t kMostPixels = 4096;
inline constexpr uint32_t kMostRows = 1000;

struct EventsQuestion {
    double from = 0;                 ///< on the axis
    double to = 0;                   ///< behind `from`
    uint32_t limit = 20000;          ///< packets, 1 to kMostEvents
    uint64_t offset = 0;             ///< packets before it are passed over: where an earlier answer went to
    std::vector<std::string> kinds;  ///< names, see Swo::KindName; empty: all
};
inline constexpr uint32_t kMostEvents = 20000;

struct TextQuestion {
    uint8_t port = 0;
    uint64_t line = 0;   ///< the first one, from 0
    uint32_t count = 1;  ///< 1 to kMostRows
};

struct FindQuestion {
    uint8_t port = 0;
    std::string text;  ///< 1 to kMostSought bytes
    uint64_t line = 0;
    bool back = false;       ///< from `line` towards the beginning
    bool matchCase = false;  ///< else ASCII letters in either case are the same
};
inline constexpr std::size_t kMostSought = 200;

enum class ProfileBy : uint8_t { Function, Line, Address };

struct ProfileQuestion {
    double from = 0;
    double to = 0;
    ProfileBy by = ProfileBy::Function;
    uint32_t columns = 0;  ///< that its first rows are told in over time, at most kMostStrip; 0: they are not
};
inline constexpr uint32_t kMostStrip = 256;
inline constexpr uint32_t kRowsWithStrip = 50;

/// How far a recording has come; see Feed::Now.
struct FeedState {
    uint64_t revision = 0;  ///< grows whenever an answer may have changed
    uint64_t bytes = 0;     ///< of the capture
    uint64_t indexed = 0;   ///< of which so many have been looked at
    double end = 0;         ///< of the axis
    bool live = false;      ///< more bytes may come
    /// Why no more is shown of a recording than what has been shown so far, a sentence for people; empty: all
    /// is well.
    std::string trouble = {};
};

/// Answers what the page asks about one recording; docs/viewer-feed.md has the forms. May be asked by several
/// threads at once. What is asked wrongly throws BadQuestion; what cannot be read any more
/// std::runtime_error.
class Feed {
  public:
    virtual ~Feed() = default;

    virtual FeedState Now() const = 0;
    virtual std::string Overview() const = 0;                              ///< JSON
    virtual std::string Window(const WindowQuestion& question) const = 0;  ///< binary
    virtual std::string Events(const EventsQuestion& question) const = 0;  ///< binary
    virtual std::string Text(const TextQuestion& question) const = 0;      ///< JSON, as are all below
    virtual std::string Find(const FindQuestion& question) const = 0;
    virtual std::string LineAt(uint8_t port, double time) const = 0;
    virtual std::string Ledger(uint64_t from, uint32_t count) const = 0;
    virtual std::string Profile(const ProfileQuestion& question) const = 0;
};

}  // namespace Korr::Plim::Trace::Viewer
