#pragma once

#include <cstdint>
#include <string>

#include "options/ChannelOptions.h"

namespace Korr::Plim::Trace::Tarnel {

/// Makes option lists, from the table or from an options file, and writes them into one. GetOptions writes
/// the process-wide table without a lock: two handlers must not run it at the same time.
class ChannelOptionsHandler {
  public:
    virtual ~ChannelOptionsHandler();

    /// Fills `out` and returns it: the defaults for an empty file name (cached from the first call), else the
    /// file's options in ID order. \param probeKind filter of the COM port discovery \throws cPelkitError;
    /// `out` is then as it was
    virtual OptionList& GetOptions(OptionList& out, const std::string& fileName, uint32_t probeKind);
    /// Writes the options file. Values are not escaped. Whether the text reached the disk is not checked: a
    /// caller to whom that matters reads the file back. \throws cPelkitError for an empty list or name, and a
    /// file that cannot be opened
    virtual void SaveOptions(const OptionList& options, const std::string& fileName);

  private:
    OptionList defaults;  ///< cache of the default list
    uint32_t probeKind = 0;
};

}  // namespace Korr::Plim::Trace::Tarnel
