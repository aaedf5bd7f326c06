// A pipe where the host's target set-up data file should be.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <future>

#include "receiver/setup_adapter_access.h"
#include "tests/unit/receiver/scripted_host.h"

namespace {

using Korr::Plim::Trace::Tarnel::kBrantorProbe;
using Korr::Plim::Trace::Tarnel::kUnsupportedProbe;
using Korr::Plim::Trace::Tarnel::ProbeKind;
using Korr::Plim::Trace::Tarnel::SetupAdapterAccess;

class SetupPipeTest : public testing::Test {
  protected:
    SetupPipeTest() {
        std::filesystem::remove(Path());
        EXPECT_EQ(mkfifo(Path().c_str(), 0600), 0);
    }
    ~SetupPipeTest() override { CloseWriter(); }

    const std::string& Path() const { return host.setupAdapter.path; }
    void OpenWriter(int flags) { writer = open(Path().c_str(), flags | O_NONBLOCK); }
    void CloseWriter() {
        if (writer >= 0) close(writer);
        writer = -1;
    }
    /// Asks for the probe. After 20 seconds that fails, and whoever waits at the pipe is let go.
    ProbeKind ProbeInTime() {
        auto probe = std::async(std::launch::async, [this] { return access.CheckProbe("cpu"); });
        if (probe.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
            ADD_FAILURE() << "the pipe is waited for";
            if (writer < 0) OpenWriter(O_WRONLY);
            CloseWriter();
        }
        return probe.get();
    }

    receiver_tests::ScriptedHost host;
    SetupAdapterAccess access;
    int writer = -1;
};

TEST_F(SetupPipeTest, WithoutAWriterIsAnEmptyFile) { EXPECT_EQ(ProbeInTime(), kUnsupportedProbe); }

TEST_F(SetupPipeTest, WithASilentWriterIsAnEmptyFile) {
    OpenWriter(O_RDWR);
    EXPECT_EQ(ProbeInTime(), kUnsupportedProbe);
}

TEST_F(SetupPipeTest, EndsWhereItsBytesDo) {
    OpenWriter(O_RDWR);
    ASSERT_EQ(write(writer, "$ brantor", 9), 9);
    EXPECT_EQ(ProbeInTime(), kBrantorProbe);
}

}  // namespace
