#include "tracehost/own_board.h"

#include <nlohmann/json.hpp>

namespace Korr::Plim::Trace::Tracehost {

using Json = nlohmann::ordered_json;

namespace {

constexpr const char* kSetUpData =
    "$ brantor\n"
    "$ product\n"
    "name=\"Brantor\"\n"
    "$ swd\n"
    "swd_debug=enabled\n"
    "swo_data=tdo_pin\n"
    "$ dot7\n"
    "ts_pin_width=only_two\n";

std::string WriteBoard(const TemporaryFolder& folder, Json board) {
    folder.Write("set-up.txt", kSetUpData);
    board["set_up_file"] = "set-up.txt";
    return folder.Write("board.json", board.dump(2) + "\n");
}

}  // namespace

std::string WritePlainBoard(const TemporaryFolder& folder) {
    return WriteBoard(folder, {{"device_identification", "0x0B9AF02F"}});
}

std::string WriteDemoBoard(const TemporaryFolder& folder) {
    return WriteBoard(folder, {{"device_identification", "0x0B99A02F"},
                               {"device_information", {{"MOD_SYSCLK", {{"CPUCLKDIV", "40032008"}}}}},
                               {"memory", {{"0x40032008", "0x00000001"}}},
                               {"journal", "journal.jsonl"},
                               {"tpiu", "tpiu.json"},
                               {"trace_clock_hz", 24000000}});
}

}  // namespace Korr::Plim::Trace::Tracehost
