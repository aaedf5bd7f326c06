// Checks of SaveFile, on a capture file that stands where the plug-in's does.
#include <filesystem>

#include "tracehost/check/scene.h"
#include "tracehost/check/subjects.h"

namespace Korr::Plim::Trace::Tracehost::Validation {

namespace {

constexpr int32_t kRaw = 2;
constexpr std::size_t kManySamples = 8192;  // that a plug-in may copy at once

std::string FourBytes(std::size_t number) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift & 0xFF);
    return bytes;
}

/// A section "BinTraceData", version 1, as a TDF file holds it.
std::string Section(const std::string& data) {
    const std::string name = "BinTraceData";
    return FourBytes(12 + name.size() + data.size()) + FourBytes(1) + FourBytes(name.size()) + name + data;
}

void CheckRaw(Stage& stage) {
    const Scene scene(stage);
    for (const std::size_t count :
         {std::size_t{0}, std::size_t{13}, kManySamples * 8, kManySamples * 8 + 1}) {
        const std::string bytes = KnownBytes(count);
        stage.Write(Stage::CaptureFile(kCpuShortName), bytes);
        const std::string file =
            stage.Write("saved.bin", "what was in the file before, which is longer than some");
        scene.driver.SaveFile(file.c_str(), kRaw);
        ExpectBytes("a capture of " + Shown(count) + " bytes saved raw", Stage::Read(file), Padded(bytes));
    }
    const std::string fresh = stage.File("fresh.bin");
    scene.driver.SaveFile(fresh.c_str(), kRaw);
    Expect(!Stage::Read(fresh).empty(), "a capture saved raw into a file that was not there: nothing");
}

void CheckTdf(Stage& stage) {
    const Scene scene(stage);
    const std::string header = "the host's own header";
    const std::string file = stage.Write("saved.tdf", header);
    std::string wanted = header;
    const std::pair<std::size_t, int32_t> kSaves[] = {{13, 1}, {kManySamples * 8 + 1, 0}, {0, 7}, {24, -1}};
    for (const auto& [count, format] : kSaves) {
        const std::string bytes = KnownBytes(count, static_cast<uint32_t>(count));
        stage.Write(Stage::CaptureFile(kCpuShortName), bytes);
        scene.driver.SaveFile(file.c_str(), format);
        wanted += Section(Padded(bytes));
        ExpectBytes("the TDF file after a capture of " + Shown(count) + " bytes was saved with format " +
                        Shown(format),
                    Stage::Read(file), wanted);
    }
}

void CheckSaveRefusals(Stage& stage) {
    const Scene scene(stage);
    stage.Write(Stage::CaptureFile(kCpuShortName), KnownBytes(100));
    ExpectRefusal("SaveFile with an empty name", "Data cannot be saved to empty file",
                  [&] { scene.driver.SaveFile("", 1); });
    const std::string nowhere = (std::filesystem::path(stage.File("nowhere")) / "file").string();
    ExpectRefusal("SaveFile into a folder that is not there", "Could not open fileNo such file or directory",
                  [&] { scene.driver.SaveFile(nowhere.c_str(), kRaw); });
    const std::string empty = stage.Write("empty.tdf", "");
    ExpectRefusal("SaveFile into a TDF file without the host's header",
                  "Section header offset to save data is not valid.",
                  [&] { scene.driver.SaveFile(empty.c_str(), 1); });
    ExpectBytes("the capture after refused saves", scene.ReadAll(), Padded(KnownBytes(100)));
}

void CheckWhileRecording(Stage& stage) {
    const Scene scene(stage);
    scene.BringTo(State::Recording);
    const std::string bytes = KnownBytes(3001);
    scene.Capture(bytes);
    const std::string file = stage.File("saved.bin");
    scene.driver.SaveFile(file.c_str(), kRaw);
    ExpectBytes("a capture saved while recording", Stage::Read(file), Padded(bytes));
    ExpectEqual("GetStatus after a save while recording: code", scene.driver.Code(),
                uint32_t{kStatusRecording});
    scene.Capture(bytes, bytes.size());
    scene.driver.StopRecording();
    ExpectBytes("what was captured in all", scene.ReadAll(), Padded(bytes + bytes));
}

}  // namespace

const std::vector<Check>& SaveChecks() {
    static const std::vector<Check> checks = {
        {"save-raw", "Format 2 replaces the file by the captured bytes, zeros up to a whole sample",
         "other tools read the raw stream", 0, CheckRaw},
        {"save-tdf",
         "Every other format adds a section \"BinTraceData\" to the host's file and leaves the rest as it is",
         "the host keeps its own sections in the file", 0, CheckTdf},
        {"save-refusals", "A file that cannot be written is refused with its text, and the capture stays",
         "the user saves it elsewhere", 0, CheckSaveRefusals},
        {"save-while-recording",
         "A save while recording holds what was captured so far, and the recording goes on",
         "the host's views save while the target runs", 1, CheckWhileRecording},
    };
    return checks;
}

}  // namespace Korr::Plim::Trace::Tracehost::Validation
