#include "receiver/setup_adapter_access.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

#include "tests/support/log_lines.h"
#include "tests/unit/receiver/scripted_host.h"

namespace {

using Korr::Plim::Trace::kBrantorProbe;
using Korr::Plim::Trace::kQuillerProbe;
using Korr::Plim::Trace::kUnsupportedProbe;
using Korr::Plim::Trace::Tarnel::SetupAdapterAccess;
using Strings = std::vector<std::string>;

constexpr const char* kExceptionLine = "E Tarnel_Receiver: exception using SetupAdapter4";

class SetupAdapterAccessTest : public testing::Test {
  protected:
    receiver_tests::ScriptedHost host;
    SetupAdapterAccess access;
    support::LogLines log;

    Strings ErrorLines() const {
        Strings errors;
        for (const std::string& line : log.Get()) {
            if (line[0] == 'E') errors.push_back(line);
        }
        return errors;
    }
    /// The probe check must find nothing and write exactly this error line.
    void ExpectRefusal(const std::string& line) {
        EXPECT_EQ(access.CheckProbe("board/cpu"), kUnsupportedProbe);
        EXPECT_EQ(ErrorLines(), Strings{line});
    }
    void ExpectDestroyed() { EXPECT_EQ(host.journal.Calls().back(), "DestroySetupAdapter(adapter)"); }
    bool Cjtag(const std::string& setup) {
        host.SetSetupFile(setup);
        return access.CheckCjtagSetup("cpu");
    }
};

TEST_F(SetupAdapterAccessTest, AsksTheAdapterForTheFileOfTheCpuAndGivesItBack) {
    EXPECT_EQ(access.CheckProbe("board/cpu"), kBrantorProbe);
    EXPECT_EQ(host.journal.Calls(), (Strings{"CreateSetupAdapter()", "Initialise()",
                                             "GetSetupFile(board/cpu)", "DestroySetupAdapter(adapter)"}));
    EXPECT_EQ(ErrorLines(), Strings{});
}

TEST_F(SetupAdapterAccessTest, LoadsTheLibraryOnceByItsBaseNameAndKeepsIt) {
    {
        SetupAdapterAccess scoped;
        EXPECT_EQ(fakes::dynamic_library::LoadLog(), Strings{});
        scoped.CheckProbe("cpu");
        scoped.CheckProbe("cpu");
        scoped.CheckSwdSetup("cpu");
        EXPECT_EQ(fakes::dynamic_library::LoadLog(), Strings{"SetupAdapter4"});
        EXPECT_EQ(fakes::dynamic_library::LoadedCount("SetupAdapter4"), 1);
    }
    EXPECT_EQ(fakes::dynamic_library::LoadedCount("SetupAdapter4"), 0);
}

TEST_F(SetupAdapterAccessTest, FindsTheQuillerProbe) {
    host.SetSetupFile("$ product\n  name=\"Quiller\"\n");
    EXPECT_EQ(access.CheckProbe("cpu"), kQuillerProbe);
}

TEST_F(SetupAdapterAccessTest, FileIsReadToItsEndWhateverItsBytes) {
    const std::string noText = std::string(10000, '\xff') + '\0';
    host.SetSetupFile(noText + "\r\n\x1a\n" + noText + "\n$ product\r\n  name=\"Quiller\"\r\n");
    EXPECT_EQ(access.CheckProbe("cpu"), kQuillerProbe);
}

TEST_F(SetupAdapterAccessTest, FileThatCannotBeOpenedLeavesTheProbeUnsupported) {
    host.setupAdapter.path += "_missing";
    EXPECT_EQ(access.CheckProbe("cpu"), kUnsupportedProbe);
    EXPECT_FALSE(access.QuerySetupProperty("cpu", "swd", "swd_debug", "enabled"));
    ExpectDestroyed();
    EXPECT_EQ(ErrorLines(), Strings{});
}

TEST_F(SetupAdapterAccessTest, FolderInsteadOfAFileLeavesTheProbeUnsupported) {
    const std::string file = host.setupAdapter.path;
    host.setupAdapter.path = std::filesystem::temp_directory_path().string();
    EXPECT_EQ(access.CheckProbe("cpu"), kUnsupportedProbe);
    ExpectDestroyed();
    host.setupAdapter.path = file;
}

TEST_F(SetupAdapterAccessTest, MissingLibraryIsSwallowedAndTriedAgain) {
    fakes::dynamic_library::Script().Fail("LoadDynamicLibrary", 1, 1);
    ExpectRefusal(kExceptionLine);
    EXPECT_EQ(access.CheckProbe("cpu"), kBrantorProbe);
}

TEST_F(SetupAdapterAccessTest, MissingCreateSetupAdapterIsLogged) {
    host.RegisterSetupAdapter("CreateSetupAdapter");
    ExpectRefusal("E Tarnel_Receiver: Unable to find CreateSetupAdapter in SetupAdapter4");
    EXPECT_EQ(host.journal.Calls(), Strings{});
}

TEST_F(SetupAdapterAccessTest, MissingDestroySetupAdapterKeepsTheAdapter) {
    host.RegisterSetupAdapter("DestroySetupAdapter");
    EXPECT_EQ(access.CheckProbe("cpu"), kBrantorProbe);
    EXPECT_EQ(host.journal.Count("DestroySetupAdapter"), 0u);
}

TEST_F(SetupAdapterAccessTest, NullAdapterIsLogged) {
    host.createSetupAdapter = [] { return nullptr; };
    ExpectRefusal("E Tarnel_Receiver: CreateSetupAdapter returned null in SetupAdapter4");
    EXPECT_EQ(host.journal.Calls(), Strings{"CreateSetupAdapter()"});
}

TEST_F(SetupAdapterAccessTest, FailingInitialisationIsLoggedWithItsText) {
    host.setupAdapter.initialises = false;
    host.setupAdapter.errorText = "no set-up for 100% of the CPUs";
    ExpectRefusal("E Tarnel_Receiver: Unable to initialize SetupAdapter4 : no set-up for 100% of the CPUs");
    ExpectDestroyed();
    EXPECT_EQ(host.journal.Count("GetSetupFile"), 0u);
}

TEST_F(SetupAdapterAccessTest, TextOfAFailingInitialisationCannotForgeALine) {
    host.setupAdapter.initialises = false;
    host.setupAdapter.errorText = "one\ntwo";
    ExpectRefusal("E Tarnel_Receiver: Unable to initialize SetupAdapter4 : one\\ntwo");
}

TEST_F(SetupAdapterAccessTest, ThrowingCreationIsSwallowed) {
    host.createSetupAdapter = []() -> Korr::Plim::Trace::SetupAdapter* { throw 1; };
    ExpectRefusal(kExceptionLine);
    EXPECT_EQ(host.journal.Count("DestroySetupAdapter"), 0u);
}

TEST_F(SetupAdapterAccessTest, ThrowingInitialisationIsSwallowedAndTheAdapterGivenBack) {
    host.setupAdapter.onInitialise = [] { throw std::runtime_error("initialise"); };
    ExpectRefusal(kExceptionLine);
    ExpectDestroyed();
}

TEST_F(SetupAdapterAccessTest, ExceptionsOfAnyTypeAreSwallowed) {
    host.setupAdapter.onGetSetupFile = [] { throw "a text"; };
    ExpectRefusal(kExceptionLine);
    ExpectDestroyed();
    EXPECT_FALSE(access.QuerySetupProperty("cpu", "swd", "swd_debug", "enabled"));
    ExpectDestroyed();
    EXPECT_EQ(ErrorLines(), (Strings{kExceptionLine, kExceptionLine}));
}

TEST_F(SetupAdapterAccessTest, ThrowingDestructionIsSwallowedAndTheAnswerStays) {
    host.destroySetupAdapter = [] { throw 1; };
    EXPECT_EQ(access.CheckProbe("cpu"), kBrantorProbe);
    EXPECT_EQ(ErrorLines(), Strings{kExceptionLine});
}

TEST_F(SetupAdapterAccessTest, EveryQueryHasAnAdapterOfItsOwn) {
    EXPECT_TRUE(access.CheckSwdSetup("cpu"));
    EXPECT_EQ(host.journal.Count("CreateSetupAdapter"), 2u);
    EXPECT_EQ(host.journal.Count("DestroySetupAdapter"), 2u);
}

TEST_F(SetupAdapterAccessTest, SwdSetupNeedsSwdAndSwoOnTdo) {
    EXPECT_TRUE(access.CheckSwdSetup("cpu"));
    host.SetSetupFile("$ swd\n swd_debug=enabled\n swo_data=aux_pin\n");
    EXPECT_FALSE(access.CheckSwdSetup("cpu"));
    host.SetSetupFile("$ swd\n swd_debug=disabled\n swo_data=tdo_pin\n");
    EXPECT_FALSE(access.CheckSwdSetup("cpu"));
    host.SetSetupFile("");
    EXPECT_FALSE(access.CheckSwdSetup("cpu"));
}

TEST_F(SetupAdapterAccessTest, TwoPinCjtagPassesWithAndWithoutSwoOnTdo) {
    EXPECT_TRUE(Cjtag("$ dot7\n ts_pin_width=only_two\n$ swd\n swo_data=tdo_pin\n"));
    EXPECT_TRUE(Cjtag("$ dot7\n ts_pin_width=only_two\n$ swd\n swo_data=aux_pin\n"));
}

TEST_F(SetupAdapterAccessTest, FourPinCjtagFailsOnlyWithSwoOnTdo) {
    EXPECT_FALSE(Cjtag("$ dot7\n ts_pin_width=four\n$ swd\n swo_data=tdo_pin\n"));
    EXPECT_TRUE(Cjtag("$ dot7\n ts_pin_width=four\n$ swd\n swo_data=aux_pin\n"));
    EXPECT_TRUE(Cjtag(""));
}

}  // namespace
