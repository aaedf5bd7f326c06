#include "tracehost/output_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>

#include "tests/fakes/scripted_channel_driver.h"
#include "tracehost/errors.h"
#include "tracehost/recording_sheet.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

namespace fs = std::filesystem;

class OutputFaults : public testing::Test {
  protected:
    OutputFaults()
        : folder(fs::temp_directory_path() / ("tarnel-out-" + std::to_string(std::random_device()()))) {
        fs::create_directories(folder);
        std::signal(SIGPIPE, SIG_IGN);  // as tracehost does
    }
    ~OutputFaults() override { fs::remove_all(folder); }

    std::string Path(const std::string& name) const { return (folder / name).string(); }
    RecordRequest To(const std::string& name, bool force = false) const {
        RecordRequest request;
        request.output = name.front() == '/' ? name : Path(name);
        request.force = force;
        return request;
    }
    static std::string Read(const std::string& name) {
        std::ifstream file(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// What a call throws; "nothing" when it returns.
    template <class Call>
    static std::string Thrown(const Call& call) {
        try {
            call();
        } catch (const std::exception& error) {
            return error.what();
        }
        return "nothing";
    }
    static void Stream(OutputFile& file, const std::string& bytes) {
        file.Observer()->Take({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
    }

    fs::path folder;
    fakes::ScriptedChannelDriver driver;
};

TEST_F(OutputFaults, FileThatThePluginWritesShortIsTold) {
    OutputFile file(To("o.bin"), nullptr);
    file.Prepare();
    driver.saved = "12345";
    EXPECT_EQ(Thrown([&] { file.Save(driver, 8, std::nullopt); }),
              "\"" + Path("o.bin") + "\" is short of 3 bytes after saving: is the disk full?");
    EXPECT_EQ(Read(Path("o.bin")), "12345");
}

TEST_F(OutputFaults, SectionThatThePluginWritesShortIsTold) {
    OutputFile file(To("o.tdf"), nullptr);
    file.Prepare();
    driver.saved = std::string(24, 'h') + "1234";
    EXPECT_EQ(Thrown([&] { file.Save(driver, 8, std::nullopt); }),
              "\"" + Path("o.tdf") + "\" is short of 4 bytes after saving: is the disk full?");
}

TEST_F(OutputFaults, RefusalOfThePluginPassesAndNoEmptyFileStays) {
    {
        OutputFile file(To("o.bin"), nullptr);
        file.Prepare();
        EXPECT_TRUE(fs::exists(Path("o.bin")));
        driver.saveRefusal = "Failed to open file";
        EXPECT_EQ(Thrown([&] { file.Save(driver, 8, std::nullopt); }), "Failed to open file");
    }
    EXPECT_FALSE(fs::exists(Path("o.bin")));
}

TEST_F(OutputFaults, FileThatWasThereStaysWhenNothingIsSaved) {
    std::ofstream(Path("o.bin")) << "old";
    {
        OutputFile file(To("o.bin", true), nullptr);
        file.Prepare();
    }
    EXPECT_EQ(Read(Path("o.bin")), "old");
}

TEST_F(OutputFaults, FileIsCutToTheBytesAskedFor) {
    OutputFile file(To("o.bin"), nullptr);
    file.Prepare();
    driver.saved = std::string(64, 'x');
    file.Save(driver, 64, 16);
    EXPECT_EQ(fs::file_size(Path("o.bin")), 16u);
}

TEST_F(OutputFaults, FolderThatVanishesWhileRecordingIsTold) {
    fs::create_directories(Path("sub"));
    OutputFile file(To("sub/o.bin"), nullptr);
    file.Prepare();
    fs::remove_all(Path("sub"));
    driver.saved = "12345678";
    EXPECT_EQ(Thrown([&] { file.Save(driver, 8, std::nullopt); }),
              "\"" + Path("sub/o.bin") + "\" is short of 8 bytes after saving: is the disk full?");
}

TEST_F(OutputFaults, TdfFileThatBecomesAnotherWhileRecordingIsRefused) {
    OutputFile file(To("o.tdf"), nullptr);
    file.Prepare();
    std::ofstream(Path("o.tdf"), std::ios::trunc) << "no TDF file at all, but longer than a header";
    EXPECT_NE(Thrown([&] { file.NextPart(); }), "nothing");
}

TEST_F(OutputFaults, TdfFileWhoseHeaderFindsNoRoomIsRefused) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
    OutputFile file(To("o.tdf"), nullptr);
    const std::string refusal = Thrown([&] { file.Prepare(); });
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(refusal,
              "\"" + Path("o.tdf") + "\" cannot be written: is the folder there, and is there room?");
}

TEST_F(OutputFaults, FileToReplaceIsReplacedOnceItCanBe) {
    fs::create_directories(Path("sub"));
    OutputFile file(To("sub/o.tdf", true), nullptr);
    file.Prepare();
    fs::remove_all(Path("sub"));
    driver.saved = std::string(24, 'h') + "12345678";
    EXPECT_NE(Thrown([&] { file.Save(driver, 8, std::nullopt); }), "nothing");
    fs::create_directories(Path("sub"));
    std::ofstream(Path("sub/o.tdf")) << "no TDF file at all, but longer than a header";
    EXPECT_EQ(Thrown([&] { file.Save(driver, 8, std::nullopt); }), "nothing");
    EXPECT_EQ(Read(Path("sub/o.tdf")).substr(16), driver.saved);
}

TEST_F(OutputFaults, NextPartsOfARawFilePassOverNamesThatAreTaken) {
    std::ofstream(Path("o-2.bin")) << "somebody's";
    OutputFile file(To("o.bin"), nullptr);
    file.Prepare();
    driver.saved = "12345678";
    file.Save(driver, 8, std::nullopt);
    file.NextPart();
    EXPECT_EQ(file.Name(), Path("o-3.bin"));
    file.Save(driver, 8, std::nullopt);
    EXPECT_EQ(Read(Path("o-2.bin")), "somebody's");
    EXPECT_EQ(Read(Path("o-3.bin")), "12345678");
}

TEST_F(OutputFaults, SheetsNameThatHoldsSomethingElseIsNotTakenUnasked) {
    std::ofstream(Path("o.bin.sheet.json")) << "somebody's";
    EXPECT_EQ(Thrown([&] { OutputFile(To("o.bin"), nullptr).Prepare(); }),
              "\"" + Path("o.bin.sheet.json") +
                  "\" exists and is no recording sheet: give another name, or --force to replace it");
    EXPECT_EQ(Thrown([&] { OutputFile(To("o.bin", true), nullptr).Prepare(); }), "nothing");
    EXPECT_EQ(Thrown([&] { OutputFile(To("o.tdf"), nullptr).Prepare(); }), "nothing");
    std::ofstream(Path("o.bin.sheet.json"), std::ios::trunc) << FormatSheet({});
    EXPECT_EQ(Thrown([&] { OutputFile(To("o.bin"), nullptr).Prepare(); }), "nothing");
    fs::create_directories(Path("p.bin.sheet.json"));
    EXPECT_NE(Thrown([&] { OutputFile(To("p.bin"), nullptr).Prepare(); }), "nothing");
}

TEST_F(OutputFaults, NextPartsPassOverNamesWhoseSheetIsSomethingElse) {
    std::ofstream(Path("o-2.bin.sheet.json")) << "somebody's";
    OutputFile file(To("o.bin"), nullptr);
    file.Prepare();
    file.NextPart();
    EXPECT_EQ(file.Name(), Path("o-3.bin"));
}

TEST_F(OutputFaults, CaptureFileIsNoOutputByWhateverName) {
    const std::string refusal =
        "\" is the file in which the plug-in keeps what it captures: give another name";
    for (const bool force : {false, true}) {
        OutputFile toCome(To("./o.bin", force), nullptr);
        EXPECT_EQ(Thrown([&] { toCome.KeepApartFrom(Path("o.bin")); }), "\"" + Path("./o.bin") + refusal);
    }
    std::ofstream(Path("capture.bin")) << "captured";
    fs::create_hard_link(Path("capture.bin"), Path("link.bin"));
    OutputFile link(To("link.bin", true), nullptr);
    EXPECT_EQ(Thrown([&] { link.KeepApartFrom(Path("capture.bin")); }), "\"" + Path("link.bin") + refusal);
    OutputFile other(To("other.bin"), nullptr);
    EXPECT_EQ(Thrown([&] { other.KeepApartFrom(Path("capture.bin")); }), "nothing");
    OutputFile next(To("n.bin", true), nullptr);
    next.KeepApartFrom(Path("n-2.bin"));
    EXPECT_EQ(Thrown([&] { next.NextPart(); }), "\"" + Path("n-2.bin") + refusal);
}

TEST_F(OutputFaults, NextPartThatCannotBeMadeIsTold) {
    fs::create_directories(Path("sub"));
    OutputFile file(To("sub/o.bin"), nullptr);
    file.Prepare();
    fs::remove_all(Path("sub"));
    EXPECT_EQ(
        Thrown([&] { file.NextPart(); }),
        "\"" + Path("sub/o-2.bin") +
            "\" cannot be written: No such file or directory: is its folder there, and may you write in it?");
}

TEST_F(OutputFaults, FullDeviceIsToldOnceItIsFinished) {
    OutputFile file(To("/dev/full"), nullptr);
    file.Prepare();
    Stream(file, "12345678");
    EXPECT_TRUE(file.StreamHasFailed());
    EXPECT_FALSE(file.ReaderHasGone());
    Stream(file, "more");
    EXPECT_EQ(file.FinishStream(),
              "\"/dev/full\" cannot be written (No space left on device): is the disk full?");
}

TEST_F(OutputFaults, ReaderThatClosesAFifoIsNoFailure) {
    ASSERT_EQ(::mkfifo(Path("fifo").c_str(), 0600), 0);
    const int reader = ::open(Path("fifo").c_str(), O_RDONLY | O_NONBLOCK);
    OutputFile file(To("fifo"), nullptr);
    file.Prepare();
    Stream(file, "12345678");
    EXPECT_FALSE(file.ReaderHasGone());
    ::close(reader);
    Stream(file, "12345678");
    EXPECT_TRUE(file.ReaderHasGone());
    EXPECT_FALSE(file.StreamHasFailed());
    EXPECT_EQ(file.FinishStream(), "");
}

TEST_F(OutputFaults, FifoThatNobodyReadsIsRefused) {
    ASSERT_EQ(::mkfifo(Path("fifo").c_str(), 0600), 0);
    OutputFile file(To("fifo"), nullptr);
    EXPECT_EQ(Thrown([&] { file.Prepare(); }), "\"" + Path("fifo") + "\" cannot be written: nobody reads it");
}

TEST_F(OutputFaults, StreamTakesNoMoreThanItsLimit) {
    std::FILE* const stream = std::fopen(Path("out").c_str(), "w");
    {
        RecordRequest request;
        request.output = "-";
        OutputFile file(request, stream);
        file.Prepare();
        file.LimitStream(10);
        Stream(file, "12345678");
        Stream(file, "12345678");
        Stream(file, "12345678");
        file.FinishStream();
    }
    std::fclose(stream);
    EXPECT_EQ(Read(Path("out")), "1234567812");
}

}  // namespace

}  // namespace Korr::Plim::Trace::Tracehost
