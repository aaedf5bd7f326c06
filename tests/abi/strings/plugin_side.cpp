#include "tests/abi/strings/plugin_side.h"

#include "host_api/windows/HostString.h"
#include "tests/abi/strings/side_of.h"

using Korr::Plim::Trace::HostString;

static void ChangeString(HostString& to, const char* text, size_t length) {
    to = std::string_view(text, length);
}
static HostString MakeString(const char* text, size_t length) { return std::string_view(text, length); }

const StringSide* PluginStrings() { return SideOf<HostString, MakeString, ChangeString>::Table("plug-in"); }
