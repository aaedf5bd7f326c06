#include "options/ChannelOptions.h"

#include "uart/com_port_discovery.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

/// Splits at every comma: an empty text gives one empty piece, a trailing comma a trailing empty piece.
std::vector<std::string> SplitChoices(const std::string& text) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    for (;;) {
        const std::size_t comma = text.find(',', start);
        pieces.push_back(text.substr(start, comma - start));
        if (comma == std::string::npos) return pieces;
        start = comma + 1;
    }
}

}  // namespace

ChannelOptions::ChannelOptions() = default;
ChannelOptions::~ChannelOptions() = default;

ChannelOptions::ChannelOptions(const OptionDescriptor& row, RowOnly)
    : id(row.id),
      parentId(row.parentId),
      key(row.key),
      label(row.label),
      choices(SplitChoices(row.choices)),
      kind(row.kind),
      extraFlag1(row.extraFlag1),
      extraFlag2(row.extraFlag2),
      hostFlag(row.hostFlag != 0),
      group(row.group),
      probeKind(row.probeKind) {}

ChannelOptions::ChannelOptions(const OptionDescriptor& row) : ChannelOptions(row, RowOnly()) {
    if (id == kOptionComPort && choices.front().empty()) {
        choices = EnumerateProbeComPorts(probeKind);
        if (choices.empty()) choices.emplace_back();
    }
    // The finest timestamp resolution is not the default: deliberately the second choice.
    const bool takesSecond = id == kOptionTimestampPrescaler && choices.size() > 1;
    value = choices[takesSecond ? 1 : 0];
}

ChannelOptions ChannelOptions::WithEmptyValue(const OptionDescriptor& row) {
    return ChannelOptions(row, RowOnly());
}

}  // namespace Korr::Plim::Trace::Tarnel
