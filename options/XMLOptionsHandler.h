#pragma once

#include <xercesc/sax/HandlerBase.hpp>

#include <cstdint>
#include <string>

#include "options/ChannelOptions.h"

namespace Korr::Plim::Trace::Tarnel {

/// Narrows a zero-terminated UTF-16 text: each unit to its low byte, without transcoding. The result is a
/// zero-terminated text too, so it also ends at a unit whose low byte is zero. Null gives the empty text.
std::string NarrowText(const XMLCh* text);

/// Collects the options of one options file while the SAX parser reads it. One object per file. The handler
/// throws cPelkitError out of the parser; the reader replaces these texts by its own, they show in the log.
///
/// Bounds, so that a hostile file ends soon: elements nest at most kMaxDepth deep, and at most kMaxPieces
/// pieces of text (each of them may run the COM port discovery) and options without text are taken.
class XMLOptionsHandler : public xercesc::HandlerBase {
  public:
    static constexpr uint32_t kMaxDepth = 100;
    static constexpr uint32_t kMaxPieces = 1000;

    // This class's own virtual operations, in the order of their slots.

    /// Forgets which option is being read.
    virtual void ResetCurrentOption();
    /// The same as ResetCurrentOption.
    virtual void ClearCurrentOption();
    /// Gives memory back to the XML library; null is allowed. The library must be initialised.
    virtual void ReleaseLibraryMemory(void* memory);
    /// Copies the parsed options into `out` and returns it.
    virtual OptionList& GetParsedOptions(OptionList& out);
    /// Brings the options into ID order, equal IDs in file order. Options without an ID of the table go.
    virtual void SortOptions();

    void startElement(const XMLCh* name, xercesc::AttributeList& attributes) override;
    void characters(const XMLCh* text, XMLSize_t length) override;
    void endElement(const XMLCh* name) override;

    bool VersionFound() const { return versionFound; }
    bool RcvrNameFound() const { return rcvrNameFound; }

  private:
    void StartVersion(xercesc::AttributeList& attributes);
    void ReadVersion(const std::string& text);
    void CountPiece();
    void ReadOptionText(const std::string& text);
    void TakeOptionWithoutText();

    OptionList options;                ///< parsed so far
    uint32_t currentId = kOptionNone;  ///< option element being read
    ChannelOptions current;            ///< the option being read
    bool inRcvrName = false;
    bool inVersion = false;
    /// The file's version as it was read; kept for who looks with a debugger: no version is refused.
    uint32_t versionMajor = 0;
    uint32_t versionMinor = 0;
    uint32_t versionBugFix = 0;
    uint32_t versionPatch = 0;
    bool versionFound = false;
    bool rcvrNameFound = false;

    uint32_t depth = 0;   ///< elements open
    uint32_t pieces = 0;  ///< pieces of text taken for options, and options without text
};

}  // namespace Korr::Plim::Trace::Tarnel
