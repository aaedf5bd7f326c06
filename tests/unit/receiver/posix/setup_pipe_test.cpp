// A pipe where the host's target set-up data file should be.
#include <gtest/gtest.h>

#include "receiver/setup_adapter_access.h"
#include "tests/support/named_pipe.h"
#include "tests/unit/receiver/scripted_host.h"

namespace {

using Korr::Plim::Trace::kUnsupportedProbe;
using Korr::Plim::Trace::ProbeKind;
using Korr::Plim::Trace::Tarnel::SetupAdapterAccess;

class SetupPipeTest : public testing::Test {
  protected:
    receiver_tests::ScriptedHost host;
    SetupAdapterAccess access;
    support::NamedPipe pipe{host.setupAdapter.path};

    ProbeKind Probe() {
        return pipe.InTime([this] { return access.CheckProbe("cpu"); });
    }
};

TEST_F(SetupPipeTest, WithoutAWriterIsNoFile) { EXPECT_EQ(Probe(), kUnsupportedProbe); }

TEST_F(SetupPipeTest, WithBytesIsNoFileEither) {
    pipe.Write("$ brantor");
    EXPECT_EQ(Probe(), kUnsupportedProbe);
}

/// Whether this process has the file open.
bool IsOpen(const std::string& path) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry.path(), gone) == path) return true;
    }
    return false;
}

TEST(SetupFileHandle, IsClosedBeforeTheAdapterIsGivenBack) {
    receiver_tests::ScriptedHost host;
    SetupAdapterAccess access;
    int destructions = 0;
    host.destroySetupAdapter = [&] {
        ++destructions;
        EXPECT_FALSE(IsOpen(host.setupAdapter.path));
    };
    {
        const std::ifstream held(host.setupAdapter.path);
        EXPECT_TRUE(IsOpen(host.setupAdapter.path));
    }
    access.CheckProbe("cpu");
    access.CheckSwdSetup("cpu");
    EXPECT_EQ(destructions, 3);
}

}  // namespace
