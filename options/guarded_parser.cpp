#include "options/guarded_parser.h"

#include "options/XMLOptionsHandler.h"
#include "options/module_log.h"
#include "options/options_reader.h"

namespace Korr::Plim::Trace::Tarnel {

GuardedParser::GuardedParser(XMLOptionsHandler& handler, xercesc::MemoryManager& memory)
    : SAXParser(nullptr, &memory) {
    setDocumentHandler(&handler);
    setErrorHandler(&handler);
    // Only with a DTD handler does the parser report declarations, to the two operations of this class.
    setDTDHandler(&handler);
    // An external entity or document type counts as one that cannot be opened.
    setDisableDefaultEntityResolution(true);
    limits.setEntityExpansionLimit(kMaxEntityExpansions);
    setSecurityManager(&limits);
}

void GuardedParser::entityDecl(const xercesc::DTDEntityDecl&, bool isParameter, bool) {
    if (isParameter) RefuseOptions("Parameter entities in xml file are not accepted.");
    entityDeclared = true;
}

void GuardedParser::startAttList(const xercesc::DTDElementDecl&) {
    if (entityDeclared) RefuseOptions("Attribute lists behind entities in xml file are not accepted.");
}

}  // namespace Korr::Plim::Trace::Tarnel
