#pragma once

#include "trace/recording_index.h"

namespace Korr::Plim::Trace::Swo {

/// How often which address was sampled in a stretch of the axis, without suspect samples. Takes what it needs
/// of the index when it is made, so that the index may go on while the capture is read again.
class ProfileQuery {
  public:
    /// Positions [first, last).
    ProfileQuery(const RecordingIndex& index, uint64_t first, uint64_t last);
    /// Any thread. \throws std::runtime_error when the capture cannot be read
    PcHistogram Answer(const CaptureBytes& bytes);

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
    std::vector<Edge> edges;
};

}  // namespace Korr::Plim::Trace::Swo
