// Replays the fuzzer's corpus through the fuzzer's own check, which aborts when an answer is not a documented
// one.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/fakes/scripted_port_devices.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

namespace {

TEST(OptionsCorpus, EveryFileGetsADocumentedAnswer) {
    Korr::Plim::Trace::Tarnel::PortDevicesScript() = {};
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(TARNEL_OPTIONS_CORPUS)) {
        SCOPED_TRACE(entry.path().string());
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        EXPECT_EQ(LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(text.data()), text.size()), 0);
        ++files;
    }
    EXPECT_GE(files, 25);
}

}  // namespace
