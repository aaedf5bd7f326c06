// The host's error library, pelkit.dll.
#include "tests/abi/host/pelkit.h"

#include "tests/abi/host/script.h"
#include "tests/abi/host/system.h"

namespace {

constexpr uint32_t kMark = 0x50454C4B;

volatile long living;
volatile long madeOfStrings;
Script script;

}  // namespace

Script* HostScript() { return &script; }

cPelkitErrorIF::cPelkitErrorIF() {}
cPelkitErrorIF::cPelkitErrorIF(const cPelkitErrorIF&) {}
cPelkitErrorIF::~cPelkitErrorIF() {}

cPelkitError::cPelkitError(const char* text, Severity_Type level)
    : mark(kMark), message(text), severity(level), endMark(kMark) {
    host::Increment(&living);
}
cPelkitError::cPelkitError(const std::string& text, Severity_Type level)
    : mark(kMark), message(text), severity(level), endMark(kMark) {
    host::Increment(&living);
    host::Increment(&madeOfStrings);
}
cPelkitError::cPelkitError(const cPelkitError& other)
    : cPelkitErrorIF(other),
      mark(other.mark),
      message(other.message),

      severity(other.severity),
      endMark(other.endMark) {
    host::Increment(&living);
}
cPelkitError::~cPelkitError() {
    if (mark != kMark || endMark != kMark) host::Fail("pelkit: an error was overwritten, or destroyed twice");
    mark = endMark = 0;
    host::Decrement(&living);
}
uint32_t cPelkitError::Origin() const { return mark; }
const char* cPelkitError::Message() const { return message.c_str(); }
void cPelkitError::Annotate(const char* text) { notes[29] = text; }
cPelkitErrorIF::Severity_Type cPelkitError::Severity() const { return severity; }
void cPelkitError::Delete() {}
long cPelkitError::Living() { return living; }
long cPelkitError::MadeOfStrings() { return madeOfStrings; }
