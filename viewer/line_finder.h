#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Viewer {

/// Source lines of addresses; what was found is kept. Any thread, several at once.
class LineFinder {
  public:
    /// "main.c:12" by address, without those that none is known of.
    using Lines = std::map<uint32_t, std::string>;
    /// Called by one thread at a time; may take long. \throws std::runtime_error when lines cannot be had
    using Find = std::function<Lines(const std::vector<uint32_t>& addresses)>;

    explicit LineFinder(Find how) : find(std::move(how)) {}
    /// \throws std::runtime_error
    Lines LinesOf(const std::vector<uint32_t>& addresses) {
        const std::lock_guard guard(mutex);
        std::vector<uint32_t> unknown;
        for (const uint32_t address : addresses) {
            if (asked.count(address) == 0) unknown.push_back(address);
        }
        if (!unknown.empty()) known.merge(find(unknown));
        asked.insert(unknown.begin(), unknown.end());
        Lines lines;
        for (const uint32_t address : addresses) {
            const auto line = known.find(address);
            if (line != known.end()) lines.insert(*line);
        }
        return lines;
    }

  private:
    const Find find;
    std::mutex mutex;  ///< of all below
    std::set<uint32_t> asked;
    Lines known;
};

}  // namespace Korr::Plim::Trace::Viewer
