// A pipe where a file should be that the driver reads or adds to.
#include <gtest/gtest.h>

#include "channel/itm_setup.h"
#include "channel/tdf_writer.h"
#include "tests/support/expect_error.h"
#include "tests/support/named_pipe.h"

namespace {

using namespace Korr::Plim::Trace::Tarnel;
using support::ErrorOf;

class PipeTest : public testing::Test {
  protected:
    const std::string path =
        (std::filesystem::temp_directory_path() / ("tarnel_pipe_" + std::to_string(getpid()))).string();
    support::NamedPipe pipe{path};

    ItmTypes Types() {
        return pipe.InTime([this] { return ReadItmTypes(path); });
    }
};

TEST_F(PipeTest, IsNoItmSetup) {
    EXPECT_EQ(Types(), ItmTypes{1}) << "the legacy mapping";
    pipe.Write("x_0=0\nx_1=1\n");
    EXPECT_EQ(Types(), ItmTypes{1});
}

TEST_F(PipeTest, NorIsAFileWhoseBytesCannotBeRead) {
    EXPECT_EQ(ReadItmTypes("/proc/self/mem"), ItmTypes{1})
        << "a file, of which the first byte cannot be read";
}

TEST_F(PipeTest, TakesNoSection) {
    const std::string refusal = pipe.InTime([this] {
        uint32_t offset = 0;
        return ErrorOf([&] { BeginSection(path.c_str(), "BinTraceData", 1, offset); });
    });
    EXPECT_EQ(refusal, "File name passed to save file is not valid.");
}

}  // namespace
