#pragma once

#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/util/SecurityManager.hpp>

namespace Korr::Plim::Trace::Tarnel {

class XMLOptionsHandler;

/// A SAX parser that opens nothing besides its input and expands only few entities. What it refuses it throws
/// out of the parser.
class GuardedParser : public xercesc::SAXParser {
  public:
    /// \param handler gets the document and the errors, must outlive the parser
    /// \param memory all of the parser's memory, must outlive the parser and its exceptions
    GuardedParser(XMLOptionsHandler& handler, xercesc::MemoryManager& memory);

    /// Refuses parameter entities: their expansion has no limit in the library.
    void entityDecl(const xercesc::DTDEntityDecl& declaration, bool isParameter, bool isIgnored) override;
    /// Refuses attribute lists once there are entities: default values expand them without limit.
    void startAttList(const xercesc::DTDElementDecl& declaration) override;

  private:
    xercesc::SecurityManager limits;
    bool entityDeclared = false;
};

}  // namespace Korr::Plim::Trace::Tarnel
