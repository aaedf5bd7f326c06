#include "receiver/setup_adapter_access.h"

#include "host_api/entry_points.h"
#include "receiver/host_library.h"
#include "receiver/stream_input.h"
#include "source_utilities/file_stream.h"
#include "source_utilities/log_call.h"
#include "source_utilities/visible_text.h"

namespace Korr::Plim::Trace::Tarnel {

namespace {

constexpr const char* kLibraryName = "SetupAdapter4";

void LogException() { KORR_PLIM::LogError("%s: exception using %s", kReceiverTag, kLibraryName); }

/// Gives the adapter back to its library.
struct AdapterDestroyer {
    DestroySetupAdapterFunction destroy = nullptr;

    void operator()(SetupAdapter* adapter) const noexcept {
        if (destroy == nullptr) return;
        try {
            destroy(adapter);
        } catch (...) {
            LogException();
        }
    }
};

}  // namespace

ProbeKind SetupAdapterAccess::CheckProbe(const std::string& cpuName) {
    ProbeKind kind = kUnsupportedProbe;
    ReadSetupFile(cpuName, [&](std::istream& file) { kind = ReadProbeKind(file); });
    return kind;
}

bool SetupAdapterAccess::QuerySetupProperty(const std::string& cpuName, const std::string& section,
                                            const std::string& property, const std::string& value) {
    bool found = false;
    ReadSetupFile(cpuName,
                  [&](std::istream& file) { found = HasSetupProperty(file, section, property, value); });
    return found;
}

bool SetupAdapterAccess::CheckSwdSetup(const std::string& cpuName) {
    return QuerySetupProperty(cpuName, "swd", "swd_debug", "enabled") &&
           QuerySetupProperty(cpuName, "swd", "swo_data", "tdo_pin");
}

bool SetupAdapterAccess::CheckCjtagSetup(const std::string& cpuName) {
    const bool twoPins = QuerySetupProperty(cpuName, "dot7", "ts_pin_width", "only_two");
    const bool swoOnTdo = QuerySetupProperty(cpuName, "swd", "swo_data", "tdo_pin");
    return twoPins || !swoOnTdo;
}

void SetupAdapterAccess::ReadSetupFile(const std::string& cpuName, const Reader& reader) {
    try {
        AskForSetupFile(cpuName, reader);
    } catch (...) {
        LogException();
    }
}

void SetupAdapterAccess::AskForSetupFile(const std::string& cpuName, const Reader& reader) {
    if (!library) library = LoadHostLibrary(kLibraryName);
    const auto create = FindEntry<CreateSetupAdapterFunction>(*library, "CreateSetupAdapter");
    if (create == nullptr) {
        KORR_PLIM::LogError("%s: Unable to find CreateSetupAdapter in %s", kReceiverTag, kLibraryName);
        return;
    }
    const AdapterDestroyer destroyer{FindEntry<DestroySetupAdapterFunction>(*library, "DestroySetupAdapter")};
    const std::unique_ptr<SetupAdapter, AdapterDestroyer> adapter(create(), destroyer);
    if (!adapter) {
        KORR_PLIM::LogError("%s: CreateSetupAdapter returned null in %s", kReceiverTag, kLibraryName);
        return;
    }
    HostString errorText;
    if (!adapter->Initialise(errorText)) {
        KORR_PLIM::LogError("%s: Unable to initialize %s : %s", kReceiverTag, kLibraryName,
                            KORR_PLIM::Visible(errorText).Text());
        return;
    }
    HostString path;
    const KORR_PLIM::FileStream file =
        KORR_PLIM::OpenStream(adapter->GetSetupFile(cpuName, path).c_str(), "rb");
    StreamInput bytes(file.get());
    std::istream input(&bytes);
    reader(input);
}

}  // namespace Korr::Plim::Trace::Tarnel
