#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace Korr::Plim::Trace::Viewer {

using Json = nlohmann::json;

/// The arrays of a track by name, all numbers as doubles.
using Arrays = std::map<std::string, std::vector<double>>;

/// A binary answer, read as docs/viewer-feed.md has it. Shares nothing with what writes it.
struct ReadWindow {
    Json header;
    std::map<std::string, Arrays> tracks;
    Arrays marks;
};

/// Fails the test when the form is not as described.
ReadWindow Read(const std::string& answer);

}  // namespace Korr::Plim::Trace::Viewer
