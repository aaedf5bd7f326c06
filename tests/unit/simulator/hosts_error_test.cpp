// Nothing but the host's error comes out of the simulated libraries: every exported function and every
// operation, with a board file that is gone.
#include "host_api/cPelkitError.h"

#include <filesystem>
#include <functional>

#include "host_api/entry_points.h"
#include "loaded_board.h"
#include "simulator/host_libraries/target_adapter_factory.h"
#include "simulator/pelkit/error_reading.h"

namespace Korr::Plim::Trace::Simulator {

namespace {

/// "severity: text" of the host's error that a call throws.
std::string Thrown(const std::function<void()>& call) {
    try {
        call();
    } catch (const cPelkitErrorIF& error) {
        return std::to_string(pelkit::SeverityOf(error)) + ": " + pelkit::TextOf(error);
    } catch (const std::exception& error) {
        return std::string("a standard exception: ") + error.what();
    }
    return "nothing";
}

class BoardIsGone : public LoadedBoard {
  protected:
    void Remove() { std::filesystem::remove(File("board.json")); }
    void ExpectError(const char* what, const std::function<void()>& call) {
        EXPECT_EQ(Thrown(call), "2: board file " + File("board.json") + ": cannot be opened") << what;
    }
    HostString text;
};

TEST_F(BoardIsGone, SetupAdapterThrowsTheHostsErrorAlone) {
    const auto create = Entry<CreateSetupAdapterFunction>("SetupAdapter4", "CreateSetupAdapter");
    const auto destroy = Entry<DestroySetupAdapterFunction>("SetupAdapter4", "DestroySetupAdapter");
    SetupAdapter* const adapter = create();
    Remove();
    ExpectError("CreateSetupAdapter", [&] { create(); });
    ExpectError("DestroySetupAdapter", [&] { destroy(adapter); });
    ExpectError("Initialise", [&] { adapter->Initialise(text); });
    ExpectError("GetSetupFile", [&] { adapter->GetSetupFile("board/cpu", text); });
    ExpectError("Reserved1", [&] { adapter->Reserved1(); });
    ExpectError("Reserved2", [&] { adapter->Reserved2(); });
    ExpectError("Reserved3", [&] { adapter->Reserved3(); });
    ExpectError("Reserved4", [&] { adapter->Reserved4(); });
    ExpectError("Reserved5", [&] { adapter->Reserved5(); });
    ExpectError("Reserved6", [&] { adapter->Reserved6(); });
    ExpectError("Reserved7", [&] { adapter->Reserved7(); });
    ExpectError("Reserved8", [&] { adapter->Reserved8(); });
}

TEST_F(BoardIsGone, DeviceIdentifierThrowsTheHostsErrorAlone) {
    const auto create = Entry<CreateDeviceIdentifierFunction>("DeviceIdentifier", "CreateDeviceIdentifier");
    const auto destroy =
        Entry<DestroyDeviceIdentifierFunction>("DeviceIdentifier", "DestroyDeviceIdentifier");
    board["device_information"] = {{"MOD", {{"REG", "0"}}}};
    Write(board);
    DeviceIdentifier* const identifier = create();
    DeviceInformation* const information = identifier->GetDeviceInformation("board/cpu");
    ASSERT_NE(information, nullptr);
    DeviceModule* const module = information->GetModule("MOD");
    ASSERT_NE(module, nullptr);
    Remove();
    ExpectError("CreateDeviceIdentifier", [&] { create(); });
    ExpectError("DestroyDeviceIdentifier", [&] { destroy(identifier, 0); });
    ExpectError("Match", [&] { identifier->Match(1, 1); });
    ExpectError("GetDeviceInformation", [&] { identifier->GetDeviceInformation("board/cpu"); });
    ExpectError("GetModule", [&] { information->GetModule("MOD"); });
    ExpectError("GetRegisterAddress", [&] { module->GetRegisterAddress("REG"); });
    ExpectError("Reserved0", [&] { identifier->Reserved0(); });
    ExpectError("Reserved1", [&] { identifier->Reserved1(); });
    ExpectError("Reserved2", [&] { identifier->Reserved2(); });
    ExpectError("Reserved3", [&] { identifier->Reserved3(); });
    ExpectError("Reserved4", [&] { identifier->Reserved4(); });
    ExpectError("Reserved5", [&] { identifier->Reserved5(); });
    ExpectError("Reserved6", [&] { identifier->Reserved6(); });
    ExpectError("Reserved7", [&] { identifier->Reserved7(); });
    ExpectError("Reserved8", [&] { identifier->Reserved8(); });
    ExpectError("Reserved9", [&] { identifier->Reserved9(); });
}

TEST_F(BoardIsGone, TargetAdapterThrowsTheHostsErrorAloneAndIsGivenBackWithoutOne) {
    const auto make = Entry<NewTargetAdapterFunction>("ICETargetAdapter", "NewTargetAdapter");
    const auto create = Entry<CreateTargetAdapterFunction>("ICETargetAdapter", "CreateTargetAdapter");
    const auto destroy = Entry<DestroyTargetAdapterFunction>("ICETargetAdapter", "DestroyTargetAdapter");
    MemoryAccessor* memory = nullptr;
    make("board/cpu", &memory);
    ASSERT_NE(memory, nullptr);
    TargetAdapter* const adapter = create("board/cpu", 1);
    ASSERT_NE(adapter, nullptr);
    Remove();
    uint32_t word = 0;
    MemoryAccessor* other = nullptr;
    ExpectError("NewTargetAdapter", [&] { make("board/cpu", &other); });
    ExpectError("CreateTargetAdapter", [&] { create("board/cpu", 1); });
    ExpectError("ReadMemory", [&] { memory->ReadMemory(0, word); });
    ExpectError("TraceRelease", [&] { adapter->TraceRelease(1); });
    ExpectError("ProgramTpiu", [&] { adapter->ProgramTpiu(1); });
    ExpectError("EnableTpiu", [&] { adapter->EnableTpiu(1); });
    ExpectError("TraceExportOpA", [&] { adapter->TraceExportOpA(1); });
    ExpectError("TraceExportOpB", [&] { adapter->TraceExportOpB(1); });
    ExpectError("SetTpiuPrescaler", [&] { adapter->SetTpiuPrescaler(1, 1); });
    ExpectError("GetExportStatus", [&] { adapter->GetExportStatus(1, word); });
    ExpectError("ClearExportStatus", [&] { adapter->ClearExportStatus(1, 1); });
    ExpectError("SetTpiuPinProtocol", [&] { adapter->SetTpiuPinProtocol(1, 2); });
    ExpectError("SetTimestampPrescale", [&] { adapter->SetTimestampPrescale(1, 1); });
    EXPECT_EQ(Thrown([&] { destroy(adapter); }), "nothing");
}

TEST_F(BoardIsGone, AThrowingSetUpAdapterThrowsTheHostsError) {
    const auto create = Entry<CreateSetupAdapterFunction>("SetupAdapter4", "CreateSetupAdapter");
    const auto destroy = Entry<DestroySetupAdapterFunction>("SetupAdapter4", "DestroySetupAdapter");
    board["setup_adapter"] = {{"throws", true}};
    Write(board);
    SetupAdapter* const adapter = create();
    adapter->Initialise(text);
    EXPECT_EQ(Thrown([&] { adapter->GetSetupFile("board/cpu", text); }),
              "2: simulated set-up adapter: the board says that it throws");
    destroy(adapter);
}

}  // namespace

}  // namespace Korr::Plim::Trace::Simulator
