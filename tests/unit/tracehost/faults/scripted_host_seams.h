#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Scripted bodies of tracehost's own seams: the places of ports, words for error numbers, room in a
/// log, threads and limits of the process.
namespace scripted_host {

struct Host {
    std::string identity = "1:2:3";  ///< of every port; empty: none is there
    bool deviceVanished = false;
    bool logsCanForget = true;
    std::vector<uint64_t> forgotten;  ///< bytes that logs were to forget
    std::vector<uint64_t> threads;    ///< empty: not told
    std::optional<uint64_t> fileSizeLimit;
};
extern Host host;

}  // namespace scripted_host
