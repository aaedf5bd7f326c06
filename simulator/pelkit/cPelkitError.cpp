#include "host_api/cPelkitError.h"

cPelkitErrorIF::cPelkitErrorIF() = default;
cPelkitErrorIF::cPelkitErrorIF(const cPelkitErrorIF&) = default;
cPelkitErrorIF& cPelkitErrorIF::operator=(const cPelkitErrorIF&) = default;
cPelkitErrorIF::~cPelkitErrorIF() = default;

cPelkitError::cPelkitError(const char* message, Severity_Type level)
    : text(message != nullptr ? message : ""), severity(level) {}
cPelkitError::cPelkitError(const std::string& message, Severity_Type level)
    : text(message), severity(level) {}
cPelkitError::cPelkitError(const cPelkitError& other) = default;
cPelkitError& cPelkitError::operator=(const cPelkitError& other) = default;
cPelkitError::~cPelkitError() = default;

const char* cPelkitError::GetText() const { return text.c_str(); }
cPelkitErrorIF::Severity_Type cPelkitError::GetSeverity() const { return severity; }
void cPelkitError::Delete() {}
