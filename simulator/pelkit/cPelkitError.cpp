#include "host_api/cPelkitError.h"

#include <new>
#include <utility>

#include "simulator/pelkit/error_reading.h"

using Korr::Plim::Trace::HostString;

/// What an error holds, in the room that its declaration leaves.
struct cPelkitErrorContent {
    HostString text;
    cPelkitErrorIF::Severity_Type severity;

    static void Make(cPelkitError& error, HostString text, cPelkitErrorIF::Severity_Type severity) {
        static_assert(sizeof(cPelkitErrorContent) <= sizeof error.room);
        new (error.room) cPelkitErrorContent{std::move(text), severity};
    }
    static const cPelkitErrorContent& Of(const cPelkitErrorIF& error) {
        return *std::launder(
            reinterpret_cast<const cPelkitErrorContent*>(static_cast<const cPelkitError&>(error).room));
    }
};

cPelkitError::cPelkitError(const char* message, Severity_Type level) {
    cPelkitErrorContent::Make(*this, message != nullptr ? message : "", level);
}
cPelkitError::cPelkitError(const HostString& message, Severity_Type level) {
    cPelkitErrorContent::Make(*this, message, level);
}
cPelkitError::cPelkitError(const cPelkitError& other) : cPelkitErrorIF(other) {
    const cPelkitErrorContent& content = cPelkitErrorContent::Of(other);
    cPelkitErrorContent::Make(*this, content.text, content.severity);
}
cPelkitError::~cPelkitError() { cPelkitErrorContent::Of(*this).~cPelkitErrorContent(); }

void cPelkitError::Delete() {}

const char* pelkit::TextOf(const cPelkitErrorIF& error) {
    return cPelkitErrorContent::Of(error).text.c_str();
}
cPelkitErrorIF::Severity_Type pelkit::SeverityOf(const cPelkitErrorIF& error) {
    return cPelkitErrorContent::Of(error).severity;
}
