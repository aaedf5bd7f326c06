// Every call of every seam, failing at its first, second and last use in a whole recording. The rows are
// those of docs/faults.md: the document and the test cannot differ.

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iterator>
#include <set>
#include <sstream>

#include "tests/faults/fresh_process.h"
#include "tests/faults/whole_recording.h"

namespace fault_tests {
namespace {

/// One row: "`seam.Operation` fails | use N of M | seen and logged | stays | test | platforms".
struct CallFault {
    std::string call;
    int use = 0;
    int uses = 0;
    Strings seen;
    Strings logged;
    Strings log;
    std::string stays;
};

void PrintTo(const CallFault& fault, std::ostream* out) { *out << fault.call << ", use " << fault.use; }

std::string Trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? std::string()
                                      : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

Strings Cells(const std::string& row) {
    Strings cells;
    std::istringstream text(row);
    for (std::string cell; std::getline(text, cell, '|');) cells.push_back(Trimmed(cell));
    return cells;
}

/// The texts between backticks.
Strings Quoted(const std::string& cell) {
    Strings texts;
    for (std::size_t open = cell.find('`'); open != std::string::npos; open = cell.find('`', open)) {
        const std::size_t close = cell.find('`', open + 1);
        texts.push_back(cell.substr(open + 1, close - open - 1));
        open = close + 1;
    }
    return texts;
}

CallFault ParseRow(const Strings& cells) {
    CallFault fault;
    fault.call = Quoted(cells[1]).at(0);
    std::sscanf(cells[2].c_str(), "use %d of %d", &fault.use, &fault.uses);
    for (const std::string& text : Quoted(cells[3])) {
        const bool isLine = text.size() > 2 && text[1] == ' ';
        const bool isLog = text.rfind("log: ", 0) == 0;
        (isLine ? fault.logged : isLog ? fault.log : fault.seen).push_back(text);
    }
    fault.stays = cells[4];
    return fault;
}

std::vector<CallFault> Rows() {
    std::vector<CallFault> rows;
    std::istringstream text(ContentOf(TARNEL_FAULTS_TABLE));
    for (std::string line; std::getline(text, line);) {
        if (line.find("| `CallFaults.") != std::string::npos) rows.push_back(ParseRow(Cells(line)));
    }
    return rows;
}

/// The trace environment is set up, and the log opened, once in a process: their calls fail in a process of
/// their own.
bool NeedsFreshProcess(const std::string& call) {
    static const std::set<std::string> kOfTheSetUp = {"environment_variables.GetVariable",
                                                      "environment_variables.SetVariable",
                                                      "file_system.MakeFolder",
                                                      "file_system.MakeTreeFolder",
                                                      "file_system.FreeSpace",
                                                      "file_system.OpenShared",
                                                      "process.ProcessExists"};
    return kOfTheSetUp.count(call) != 0;
}

/// Of what differs in the log, the names: a process keeps them.
Strings NamesIn(const Strings& log) {
    Strings names;
    std::copy_if(log.begin(), log.end(), std::back_inserter(names),
                 [](const std::string& text) { return text.rfind("log: korr_trace_log", 0) == 0; });
    return names;
}

void RunWithFault(const CallFault& fault) {
    WholeRecording recording;
    WholeRecording::Fail(fault.call, fault.use);
    const Report report = recording.Run();
    EXPECT_GE(WholeRecording::Calls(fault.call), fault.use) << "it did not come to that call";
    EXPECT_EQ(report.seen, fault.seen);
    EXPECT_EQ(report.logged, fault.logged);
    EXPECT_EQ(report.log, fault.log);
    EXPECT_EQ(report.stays, fault.stays);
    EXPECT_EQ(recording.OpenHandles(), Strings());
    ExpectThatTheNextRecordingWorks(recording, NamesIn(report.log));
}

class CallFaults : public testing::TestWithParam<CallFault> {};

TEST_P(CallFaults, AreSurvivedAsDocumented) {
    const CallFault& fault = GetParam();
    if (!NeedsFreshProcess(fault.call)) return RunWithFault(fault);
    RunInFreshProcess([&] { RunWithFault(fault); });
}

std::string RowName(const testing::TestParamInfo<CallFault>& row) {
    std::string name = row.param.call + "_use_" + std::to_string(row.param.use);
    std::replace(name.begin(), name.end(), '.', '_');
    return name;
}
INSTANTIATE_TEST_SUITE_P(Documented, CallFaults, testing::ValuesIn(Rows()), RowName);

/// The operations of the seams that can fail in a recording.
const Strings kOperations = {"dynamic_library.LoadDynamicLibrary",
                             "dynamic_library.FindSymbol",
                             "environment_variables.GetVariable",
                             "environment_variables.SetVariable",
                             "file_system.MakeFolder",
                             "file_system.MakeTreeFolder",
                             "file_system.FreeSpace",
                             "file_system.WorkingFolder",
                             "file_system.OpenShared",
                             "file_system.StreamLength",
                             "file_system.SeekStream",
                             "file_system.StreamPosition",
                             "native_thread.CreateSuspendedThread",
                             "native_thread.SetThreadPriority",
                             "native_thread.ResumeThread",
                             "native_thread.CloseThread",
                             "process.ProcessExists",
                             "serial_port.Open",
                             "serial_port.SetPollingTimeouts",
                             "serial_port.GetState",
                             "serial_port.SetState",
                             "serial_port.Purge",
                             "serial_port.QueryQueue",
                             "serial_port.SetBreak",
                             "serial_port.Read",
                             "serial_port.Close",
                             "capture_file.Create",
                             "capture_file.Write",
                             "capture_file.Close"};

void ExpectRowsForEveryUse() {
    WholeRecording recording;
    const Report report = recording.Run();
    EXPECT_EQ(report.seen, Strings());
    EXPECT_EQ(report.logged, Strings());
    EXPECT_EQ(report.stays, "every byte");
    std::set<std::string> wanted;
    for (const std::string& call : kOperations) {
        const int uses = WholeRecording::Calls(call);
        EXPECT_GE(uses, 1) << call;
        for (const int use : {1, std::min(2, uses), uses}) {
            wanted.insert(call + ": use " + std::to_string(use) + " of " + std::to_string(uses));
        }
    }
    std::set<std::string> documented;
    for (const CallFault& row : Rows()) {
        documented.insert(row.call + ": use " + std::to_string(row.use) + " of " + std::to_string(row.uses));
    }
    for (const std::string& row : wanted) EXPECT_EQ(documented.erase(row), 1U) << row;
    for (const std::string& row : documented) ADD_FAILURE() << row << " comes to no recording";
}

TEST(CallFaultRows, CoverTheFirstTheSecondAndTheLastUseOfEveryCall) {
    RunInFreshProcess(ExpectRowsForEveryUse);
}

}  // namespace
}  // namespace fault_tests
