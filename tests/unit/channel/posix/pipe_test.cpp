// A pipe where a file should be that the driver reads or adds to.
#include <gtest/gtest.h>

#include <algorithm>

#include "channel/itm_setup.h"
#include "channel/tdf_writer.h"
#include "tests/support/named_pipe.h"
#include "tests/unit/channel/expect_error.h"

namespace {

using namespace Korr::Plim::Trace::Tarnel;
using channel_tests::ErrorOf;

class PipeTest : public testing::Test {
  protected:
    const std::string path =
        (std::filesystem::temp_directory_path() / ("tarnel_pipe_" + std::to_string(getpid()))).string();
    support::NamedPipe pipe{path};

    ItmTypes Types() {
        return pipe.InTime([this] { return ReadItmTypes(path); });
    }
};

TEST_F(PipeTest, WithoutAWriterIsAnEmptyItmSetup) {
    const ItmTypes types = Types();
    EXPECT_EQ(std::count(types.begin(), types.end(), kItmTypeNotSet), 32);
}

TEST_F(PipeTest, WithASilentWriterIsNoItmSetup) {
    pipe.Write("");
    EXPECT_EQ(Types(), ItmTypes{1}) << "the legacy mapping";
}

TEST_F(PipeTest, TakesNoSection) {
    const std::string refusal = pipe.InTime([this] {
        uint32_t offset = 0;
        return ErrorOf([&] { BeginSection(path.c_str(), "BinTraceData", 1, offset); });
    });
    EXPECT_EQ(refusal, "Write error -  TDF section header size.");
}

}  // namespace
