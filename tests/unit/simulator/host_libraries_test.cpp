#include "host_api/cPelkitError.h"
#include "host_api/entry_points.h"
#include "loaded_board.h"

namespace Korr::Plim::Trace::Simulator {

namespace {

class SimulatedSetupAdapter : public LoadedBoard {
  protected:
    CreateSetupAdapterFunction create =
        Entry<CreateSetupAdapterFunction>("SetupAdapter4", "CreateSetupAdapter");
    DestroySetupAdapterFunction destroy =
        Entry<DestroySetupAdapterFunction>("SetupAdapter4", "DestroySetupAdapter");
    HostString text;
};

TEST_F(SimulatedSetupAdapter, GivesThePathOfTheCpusSetUpFile) {
    SetupAdapter* const adapter = create();
    ASSERT_TRUE(adapter->Initialise(text));
    EXPECT_EQ(adapter->GetSetupFile("board/cpu", text), File("set-up.txt"));
    destroy(adapter);
    std::vector<std::string> operations;
    for (const auto& line : Journal()) operations.push_back(line["operation"]);
    EXPECT_EQ(operations, (std::vector<std::string>{"CreateSetupAdapter", "Initialise", "GetSetupFile",
                                                    "DestroySetupAdapter"}));
    EXPECT_EQ(Journal()[2]["arguments"]["cpu"], "board/cpu");
}

TEST_F(SimulatedSetupAdapter, BoardIsReadAfreshAtEveryCall) {
    SetupAdapter* const adapter = create();
    board["setup_adapter"] = {{"initialise_error", "no licence"}};
    Write(board);
    EXPECT_FALSE(adapter->Initialise(text));
    EXPECT_EQ(text, "no licence");
    board["setup_adapter"] = {{"create", false}};
    Write(board);
    EXPECT_EQ(create(), nullptr);
    destroy(adapter);
}

TEST_F(SimulatedSetupAdapter, MisuseIsNotedAsAViolation) {
    SetupAdapter* const adapter = create();
    EXPECT_EQ(adapter->GetSetupFile("board/cpu", text), "");
    EXPECT_EQ(Violation(), "call before a successful Initialise");
    adapter->Initialise(text);
    EXPECT_EQ(adapter->GetSetupFile("other", text), "");
    EXPECT_EQ(Violation(), "unknown CPU");
    adapter->Reserved3();
    EXPECT_NE(Violation(), "");
    destroy(adapter);
    EXPECT_EQ(Violation(), "");
    EXPECT_FALSE(adapter->Initialise(text));
    EXPECT_EQ(Violation(), "call after DestroySetupAdapter");
    destroy(adapter);
    EXPECT_EQ(Violation(), "no living adapter");
    destroy(nullptr);
    EXPECT_EQ(Violation(), "null adapter");
}

TEST_F(SimulatedSetupAdapter, ThrowsWhenTheBoardSaysSo) {
    board["setup_adapter"] = {{"throws", true}};
    Write(board);
    SetupAdapter* const adapter = create();
    adapter->Initialise(text);
    EXPECT_THROW(adapter->GetSetupFile("board/cpu", text), cPelkitError);
    EXPECT_EQ(Journal().back()["result"], "exception");
    destroy(adapter);
}

TEST_F(SimulatedSetupAdapter, UnknownKeyInTheBoardIsThrown) {
    board["typo"] = 1;
    Write(board);
    EXPECT_THROW(create(), cPelkitError);
}

class SimulatedDeviceIdentifier : public LoadedBoard {
  protected:
    CreateDeviceIdentifierFunction create =
        Entry<CreateDeviceIdentifierFunction>("DeviceIdentifier", "CreateDeviceIdentifier");
    DestroyDeviceIdentifierFunction destroy =
        Entry<DestroyDeviceIdentifierFunction>("DeviceIdentifier", "DestroyDeviceIdentifier");
};

TEST_F(SimulatedDeviceIdentifier, MatchesUnderTheMask) {
    board["device_identification"] = "0x1B9AF02F";
    Write(board);
    DeviceIdentifier* const identifier = create();
    EXPECT_TRUE(identifier->Match(0x0B9AF02F, 0x0FFFFFFF));
    EXPECT_FALSE(identifier->Match(0x0B9AF02F, 0xFFFFFFFF));
    destroy(identifier, 0);
}

TEST_F(SimulatedDeviceIdentifier, InformationIsLookedUpByName) {
    DeviceIdentifier* const identifier = create();
    EXPECT_EQ(identifier->GetDeviceInformation("board/cpu"), nullptr);
    board["device_information"] = {{"MOD_SYSCLK", {{"RCC", "400FE060"}}}};
    Write(board);
    DeviceInformation* const information = identifier->GetDeviceInformation("board/cpu");
    ASSERT_NE(information, nullptr);
    EXPECT_EQ(information->GetModule("MOD_OTHER"), nullptr);
    DeviceModule* const module = information->GetModule("MOD_SYSCLK");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->GetRegisterAddress("RCC"), "400FE060");
    EXPECT_EQ(module->GetRegisterAddress("RCC2"), "");
    destroy(identifier, 0);
    EXPECT_EQ(module->GetRegisterAddress("RCC"), "");
    EXPECT_EQ(Violation(), "call after DestroyDeviceIdentifier");
}

TEST_F(SimulatedDeviceIdentifier, MisuseIsNotedAsAViolation) {
    DeviceIdentifier* const identifier = create();
    identifier->GetDeviceInformation(nullptr);
    EXPECT_EQ(Violation(), "null device name");
    identifier->GetDeviceInformation("other");
    EXPECT_EQ(Violation(), "unknown CPU");
    destroy(identifier, 1);
    EXPECT_EQ(Violation(), "second argument is not 0");
    EXPECT_FALSE(identifier->Match(0, 0));
    EXPECT_EQ(Violation(), "call after DestroyDeviceIdentifier");
    destroy(identifier, 0);
    EXPECT_EQ(Violation(), "no living identifier");
    destroy(nullptr, 0);
    EXPECT_EQ(Violation(), "null identifier");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Simulator
