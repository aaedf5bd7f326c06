#pragma once

#include <cstdint>
#include <string>

#include "options/ChannelOptions.h"

namespace Korr::Plim::Trace::Tarnel {

/// Makes option lists, from the table or from an options file, and writes them into one. One thread for each
/// handler; several handlers may be in use at once: where GetOptions works with what is the process's, the
/// option table and the XML library, they take turns. The reading of a file itself is outside of that.
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
    OptionList ReadFile(const std::string& fileName) const;
    /// Into every row of the table.
    void StoreProbeKind() const;

    OptionList defaults;  ///< cache of the default list
    uint32_t probeKind = 0;
};

}  // namespace Korr::Plim::Trace::Tarnel
