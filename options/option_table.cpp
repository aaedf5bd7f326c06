#include "options/option_table.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr uint32_t kChooseOne = 1;
constexpr uint32_t kFreeValue = 5;
constexpr uint32_t kHidden = 6;
constexpr uint32_t kAnyProbe = 2;

OptionDescriptor table[kOptionRows] = {
    {kOptionFirmwareVersion, 0, kOptionNone, "RCVRFWVER", "", "SWO Selection", "", false, kHidden, false,
     kAnyProbe},
    {kOptionEncoding, 1, kOptionNone, "ENCTYPE", "Encoding Type", "SWO Selection", "UART", false, kChooseOne,
     false, kAnyProbe},
    {kOptionPrescaler, 0, kOptionNone, "PRESCALAR", "Prescalar", "SWO Selection", "Auto,Manual", false,
     kChooseOne, false, kAnyProbe},
    {kOptionPrescalerValue, 1, kOptionPrescaler, "PRESCALARVAL", "", "SWO Selection", "Prescalar value",
     false, kFreeValue, false, kAnyProbe},
    {kOptionClock, 1, kOptionEncoding, "CLKFREQ", "Target Clk Frequency", "UART Options", "Auto,Manual",
     false, kChooseOne, false, kAnyProbe},
    {kOptionClockValue, 1, kOptionClock, "CLKFREQVAL", "", "UART Options", "Frequency in Hz", false,
     kFreeValue, false, kAnyProbe},
    {kOptionComPort, 1, kOptionEncoding, "COMPORT", "COM Port Number", "UART Options", "", false, kChooseOne,
     false, kAnyProbe},
    {kOptionTimestampPrescaler, 0, kOptionNone, "TSPRESCALAR", "Resolution", "Timestamping", "1,4,16,64",
     false, kChooseOne, false, kAnyProbe},
    {kOptionNone, 0, kOptionNone, "", "", "", "", false, kHidden, false, kAnyProbe},
};

}  // namespace

OptionDescriptor* OptionTable() { return table; }

uint32_t FindOptionId(const std::string& key) {
    for (uint32_t id = 0; id < kOptionNone; ++id) {
        if (key == table[id].key) return id;
    }
    return kOptionNone;
}

const char* OptionPlaceholder(uint32_t id) {
    const bool isFreeValue = id < kOptionNone && table[id].kind == kFreeValue;
    return isFreeValue ? table[id].choices : "";
}

}  // namespace Korr::Plim::Trace::Tarnel
