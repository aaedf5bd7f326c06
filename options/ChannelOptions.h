#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "options/option_table.h"

namespace Korr::Plim::Trace::Tarnel {

/// One receiver option as the host and the channel driver see it. A value type.
class ChannelOptions {
  public:
    /// Empty texts, no choices, ID and parent kOptionNone.
    ChannelOptions();
    /// Builds an option from a table row; for COMPORT this runs the COM port discovery.
    explicit ChannelOptions(const OptionDescriptor& row);
    ChannelOptions(const ChannelOptions&) = default;
    ChannelOptions& operator=(const ChannelOptions&) = default;
    ChannelOptions(ChannelOptions&&) noexcept = default;
    ChannelOptions& operator=(ChannelOptions&&) noexcept = default;
    virtual ~ChannelOptions();

    /// The option of a table row with the empty value. Runs no discovery: COMPORT then has one empty choice.
    static ChannelOptions WithEmptyValue(const OptionDescriptor& row);

    uint32_t id = kOptionNone;
    uint32_t parentId = kOptionNone;
    std::string key;
    std::string label;
    std::vector<std::string> choices;
    uint32_t kind = 0;
    bool extraFlag1 = false;
    bool extraFlag2 = false;
    bool hostFlag = false;
    std::string value;
    std::string group;
    uint32_t probeKind = 0;

  private:
    /// Everything but the value; the choices as they stand in the row.
    struct RowOnly {};
    ChannelOptions(const OptionDescriptor& row, RowOnly);
};

using OptionList = std::vector<ChannelOptions>;

}  // namespace Korr::Plim::Trace::Tarnel
