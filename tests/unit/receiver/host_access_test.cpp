#include <gtest/gtest.h>

#include <vector>

#include "receiver/device_identifier_access.h"
#include "receiver/host_library.h"
#include "receiver/target_adapter_access.h"
#include "tests/support/expect_error.h"
#include "tests/unit/receiver/scripted_host.h"

namespace {

using Korr::Plim::Trace::MemoryAccessor;
using Korr::Plim::Trace::Tarnel::DeviceIdentifierAccess;
using Korr::Plim::Trace::Tarnel::LoadHostLibrary;
using Korr::Plim::Trace::Tarnel::TargetAdapterAccess;
using support::ErrorOf;
using Strings = std::vector<std::string>;

class HostAccess : public testing::Test {
  protected:
    receiver_tests::ScriptedHost host;

    static std::string IdentifierError() {
        return ErrorOf([] { DeviceIdentifierAccess(); });
    }
};

using HostLibrary = HostAccess;
using DeviceIdentifierAccessTest = HostAccess;

class TargetAdapterAccessTest : public HostAccess {
  protected:
    TargetAdapterAccess access;

    std::string Error() {
        return ErrorOf([this] { access.GetTargetAdapter("cpu"); });
    }
};

TEST_F(HostLibrary, LibraryThatDoesNotLoadIsNamed) {
    EXPECT_EQ(ErrorOf([] { LoadHostLibrary("NoSuchLibrary"); }), "Failed to load NoSuchLibrary");
}

TEST_F(DeviceIdentifierAccessTest, MakesOneIdentifierAndGivesItBackOnce) {
    {
        DeviceIdentifierAccess access;
        EXPECT_EQ(access.Get(), &host.identifier);
        access.Release();
        EXPECT_EQ(access.Get(), nullptr);
        EXPECT_EQ(fakes::dynamic_library::LoadedCount("DeviceIdentifier"), 1);
        access.Release();
    }
    EXPECT_EQ(host.journal.Calls(),
              (Strings{"CreateDeviceIdentifier()", "DestroyDeviceIdentifier(identifier, 0)"}));
    EXPECT_EQ(fakes::dynamic_library::UnloadLog(), Strings{"DeviceIdentifier"});
}

TEST_F(DeviceIdentifierAccessTest, MissingLibraryIsNamed) {
    fakes::dynamic_library::Script().Fail("LoadDynamicLibrary");
    EXPECT_EQ(IdentifierError(), "Failed to load DeviceIdentifier");
}

TEST_F(DeviceIdentifierAccessTest, EitherMissingExportIsAnError) {
    for (const char* missing : {"CreateDeviceIdentifier", "DestroyDeviceIdentifier"}) {
        host.RegisterDeviceIdentifier(missing);
        EXPECT_EQ(IdentifierError(), "Missing exports in device identifier dll");
    }
    EXPECT_EQ(host.journal.Calls(), Strings{});
    EXPECT_EQ(fakes::dynamic_library::LoadedCount("DeviceIdentifier"), 0);
}

TEST_F(DeviceIdentifierAccessTest, NullIdentifierIsAnError) {
    host.createDeviceIdentifier = [] { return nullptr; };
    EXPECT_EQ(IdentifierError(), "Internal error, failed to create device identifier");
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 0u);
    EXPECT_EQ(fakes::dynamic_library::LoadedCount("DeviceIdentifier"), 0);
}

TEST_F(DeviceIdentifierAccessTest, LibraryThatThrowsStaysLoadedForItsException) {
    host.createDeviceIdentifier = []() -> Korr::Plim::Trace::DeviceIdentifier* { throw 7; };
    EXPECT_THROW(DeviceIdentifierAccess(), int);
    EXPECT_EQ(fakes::dynamic_library::LoadedCount("DeviceIdentifier"), 1);
}

TEST_F(DeviceIdentifierAccessTest, IdentifierWhoseDestructionFailedIsNotGivenBackAgain) {
    DeviceIdentifierAccess access;
    host.destroyDeviceIdentifier = [] { throw 1; };
    EXPECT_THROW(access.Release(), int);
    access.Release();
    EXPECT_EQ(host.journal.Count("DestroyDeviceIdentifier"), 1u);
}

TEST_F(TargetAdapterAccessTest, LoadsTheLibraryWithTheFirstRequestAndKeepsIt) {
    EXPECT_EQ(fakes::dynamic_library::LoadLog(), Strings{});
    EXPECT_EQ(access.GetTargetAdapter("cpu"), &host.memory);
    EXPECT_EQ(access.GetTargetAdapter("other"), &host.memory);
    EXPECT_EQ(fakes::dynamic_library::LoadLog(), Strings{"ICETargetAdapter"});
    EXPECT_EQ(host.journal.Calls(), (Strings{"NewTargetAdapter(cpu)", "NewTargetAdapter(other)"}));
}

TEST_F(TargetAdapterAccessTest, MissingLibraryIsNamedAndTriedAgain) {
    fakes::dynamic_library::Script().Fail("LoadDynamicLibrary", 1, 1);
    EXPECT_EQ(Error(), "Failed to load ICETargetAdapter");
    EXPECT_EQ(access.GetTargetAdapter("cpu"), &host.memory);
}

TEST_F(TargetAdapterAccessTest, MissingFactoryIsABadInstallation) {
    host.RegisterTargetAdapter("NewTargetAdapter");
    EXPECT_EQ(Error(), "Cannot get target adapter factory. Bad installation.");
    EXPECT_EQ(Error(), "Cannot get target adapter factory. Bad installation.");
    EXPECT_EQ(fakes::dynamic_library::LoadLog().size(), 1u);
}

TEST_F(TargetAdapterAccessTest, NullAdapterIsABadSetup) {
    host.newTargetAdapter = [](MemoryAccessor**) { return nullptr; };
    EXPECT_EQ(Error(), "Cannot get target adapter for SWO receiver. Bad installation or setup.");
}

TEST_F(TargetAdapterAccessTest, AdapterWithoutHandleGivesNull) {
    host.newTargetAdapter = [this](MemoryAccessor**) { return &host.memory; };
    EXPECT_EQ(access.GetTargetAdapter("cpu"), nullptr);
}

TEST_F(TargetAdapterAccessTest, ExceptionOfTheFactoryComesThrough) {
    host.newTargetAdapter = [](MemoryAccessor**) -> MemoryAccessor* { throw 7; };
    EXPECT_THROW(access.GetTargetAdapter("cpu"), int);
}

}  // namespace
