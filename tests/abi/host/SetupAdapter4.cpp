// The host's library "SetupAdapter4".
#include "tests/abi/host/library.h"

namespace {

bool Initialise(std::string& errorText) {
    Act(Place::Initialise);
    const Text& error = HostScript()->initialiseError;
    if (error.bytes == nullptr) return true;
    errorText = StringOf(error);
    return false;
}

std::string& GetSetupFile(const std::string& cpuName, std::string& path) {
    Act(Place::GetSetupFile);
    ExpectName(cpuName.c_str(), cpuName.size(), HostScript()->cpu);
    path = StringOf(HostScript()->setupFile);
    return path;
}

struct Adapter final : SetupAdapter {
    bool Initialise(std::string& errorText) override { return ::Initialise(errorText); }
    void Reserved1() override { Reserved(); }
    void Reserved2() override { Reserved(); }
    void Reserved3() override { Reserved(); }
    void Reserved4() override { Reserved(); }
    void Reserved5() override { Reserved(); }
    void Reserved6() override { Reserved(); }
    void Reserved7() override { Reserved(); }
    void Reserved8() override { Reserved(); }
    std::string& GetSetupFile(const std::string& cpuName, std::string& path) override {
        return ::GetSetupFile(cpuName, path);
    }
} adapter;

bool RawInitialise(Raw*, std::string* errorText) { return Initialise(*errorText); }
std::string* RawGetSetupFile(Raw*, const std::string* cpuName, std::string* path) {
    return &GetSetupFile(*cpuName, *path);
}
const void* const table[] = {
    SLOT(RawInitialise),  RESERVED, RESERVED, RESERVED, RESERVED, RESERVED, RESERVED, RESERVED, RESERVED,
    SLOT(RawGetSetupFile)};
Raw raw = {table};

}  // namespace

EXPORT void* CreateSetupAdapter() {
    Act(Place::CreateSetupAdapter);
    return HostScript()->rawTables ? static_cast<void*>(&raw) : static_cast<SetupAdapter*>(&adapter);
}
EXPORT void DestroySetupAdapter(void* given) {
    Act(Place::DestroySetupAdapter);
    if (given != &raw && given != static_cast<SetupAdapter*>(&adapter)) {
        host::Fail("DestroySetupAdapter of another object");
    }
}
