#pragma once

#include <functional>

#include "trace/recording_index.h"

namespace Korr::Plim::Trace::Swo {

/// How often which address was sampled in a stretch of the axis, without suspect samples. Takes what it needs
/// of the index when it is made, so that the index may go on while the capture is read again.
class ProfileQuery {
  public:
    /// Is told of samples of an address in a stretch of positions, [begin, end); of single ones both are the
    /// same.
    using Tell = std::function<void(uint64_t begin, uint64_t end, PcHistogram::Count count)>;

    /// So many bytes of the capture are decoded again for an answer over time; of more, parts are told as
    /// they were summed up.
    static constexpr uint64_t kMostOverTime = uint64_t{32} << 20;

    /// Positions [first, last). \param overTime whether the answer can be told in its stretches
    ProfileQuery(const RecordingIndex& index, uint64_t first, uint64_t last, bool overTime = false);
    /// Any thread. \param tell is told all of it but what addresses have that are not told apart; null:
    /// nothing \throws std::runtime_error when the capture cannot be read
    PcHistogram Answer(const CaptureBytes& bytes, const Tell& tell = nullptr);

  private:
    /// A stretch of the capture that is decoded again.
    struct Edge {
        ReplayPlan plan;
        uint64_t from;  ///< place
        uint64_t to;
    };
    void AddEdge(const RecordingIndex& index, uint64_t from, uint64_t to);

    uint64_t begin;  ///< position
    uint64_t end;
    bool timed;
    PcHistogram all{PcHistogram::kMostInAll};
    struct Part {
        uint64_t begin;  ///< position
        uint64_t end;
        std::vector<PcHistogram::Count> counts;
    };
    std::vector<Part> parts;  ///< those of `all` so far, when the answer can be told over time
    std::vector<Edge> edges;
};

}  // namespace Korr::Plim::Trace::Swo
