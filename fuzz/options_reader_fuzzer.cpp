// Any bytes as an options file: the answer is a sorted list or one of the documented refusals.
#include <xercesc/util/PlatformUtils.hpp>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host_api/cPelkitError.h"
#include "options/XMLOptionsHandler.h"
#include "options/options_reader.h"
#include "simulator/pelkit/error_reading.h"

namespace {

using namespace Korr::Plim::Trace::Tarnel;

void Require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "options reader: %s\n", what);
    std::abort();
}

void CheckOptions(const OptionList& options) {
    Require(options.size() <= XMLOptionsHandler::kMaxPieces, "too many options");
    uint32_t last = 0;
    for (const ChannelOptions& option : options) {
        Require(option.id < kOptionNone && option.id >= last, "option out of order");
        Require(FindOptionId(option.key) == option.id, "key of another option");
        Require(!option.choices.empty(), "option without choices");
        last = option.id;
    }
}

void CheckRefusal(const cPelkitError& error) {
    const std::string text = pelkit::TextOf(error);
    const bool isUndefined = text == "Undefined exception occurred while parsing emulation setup file";
    const bool isNameMissing = text.rfind("RCVRNAME xml tag not found in this xml file.\n", 0) == 0;
    Require(isUndefined || isNameMissing, text.c_str());
    Require(pelkit::SeverityOf(error) == cPelkitErrorIF::eSEVERITY_ERROR, "severity");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    // One more use of the library saves its set-up for every input.
    static const bool initialised = (xercesc::XMLPlatformUtils::Initialize(), true);
    Require(initialised, "library");
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        CheckOptions(ReadOptionsText(text, "fuzzed"));
    } catch (const cPelkitError& error) {
        CheckRefusal(error);
    }
    return 0;
}
