// Checks of the library itself: what it exports, and that loading it does nothing.
#include <filesystem>

#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"
#include "tracehost/errors.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

void CheckExports(Stage& stage) {
    try {
        const Plugin plugin(stage.Settings().plugin);
    } catch (const HostError& error) {
        Fail(error.what());
    }
}

/// A library's symbols are those of the libraries that it needs, too, and "pelkit" has this one.
void CheckErrorDelete(Stage& stage) {
    const std::string file = stage.LoadedPlugin().File();
    const Library library(stage.Settings().plugin);
    try {
        Expect(library.File(ErrorDeleteExport()) == file,
               std::string("the plug-in does not export ") + ErrorDeleteExport());
    } catch (const HostError& error) {
        Fail(error.what());
    }
}

void CheckQuietLoad(Stage& stage) {
    try {
        const Library library(stage.Settings().plugin);
    } catch (const HostError&) {
        Skip("the plug-in does not load: see \"exports\"");
    }
    const uint64_t threads = CountThreads();
    for (int i = 0; i < 2; ++i) {
        Step("loading the plug-in");
        std::optional<Library> library(stage.Settings().plugin);
        ExpectEqual("threads of the process while the plug-in is loaded", CountThreads(), threads);
        Expect(std::filesystem::is_empty(stage.Home()), "loading makes something in the user's home");
        const auto calls = stage.Journal();
        Expect(calls.empty(),
               "loading calls the host's libraries: " + (calls.empty() ? "" : calls.front().operation));
        Step("unloading the plug-in");
    }
    Step("");
    const Life life(stage);  // unloaded and loaded again it works
    ExpectEqual("GetNumCpus of the plug-in loaded once more", life.receiver.GetNumCpus(), 0u);
}

}  // namespace

const std::vector<Check>& LibraryChecks() {
    static const std::vector<Check> checks = {
        {"exports", "The library loads and exports CreateRcvr and DestroyRcvr under their plain names",
         "without them a host cannot even begin", 0, CheckExports},
        {"exports-delete", "The library exports the error class's member Delete",
         "hosts call it on errors that they have handled", 0, CheckErrorDelete},
        {"load-quiet",
         "Loading and unloading makes no thread and no file and asks no library of the host; loaded again it "
         "works",
         "hosts load plug-ins to look at them, and unload them again", 0, CheckQuietLoad},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
