// A file that is shown, and what becomes of it meanwhile.
#include "tracehost/viewed_file.h"

#include <gtest/gtest.h>

#include <optional>

#include "tests/unit/tracehost/views/said_text.h"
#include "tracehost/errors.h"
#include "tracehost/file_access.h"

namespace Korr::Plim::Trace::Tracehost {
namespace {

namespace fs = std::filesystem;
using views::CaptureOf;
using views::HasLine;
using views::Said;
using views::Soon;

/// A TDF file with a section for each capture.
std::vector<uint8_t> Tdf(const std::vector<std::vector<uint8_t>>& captures) {
    std::vector<uint8_t> file = {'K', 'T', 'D', 'F', 1, 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0};
    for (const auto& capture : captures) {
        for (const std::size_t number : {24 + capture.size(), std::size_t{1}, std::size_t{12}}) {
            for (int shift = 0; shift < 32; shift += 8) file.push_back(static_cast<uint8_t>(number >> shift));
        }
        for (const char letter : std::string("BinTraceData")) file.push_back(static_cast<uint8_t>(letter));
        file.insert(file.end(), capture.begin(), capture.end());
    }
    return file;
}

class ViewedFileTest : public testing::Test {
  protected:
    /// The view of a file, which nobody has written for long unless it is fresh.
    void View(const std::string& name, bool fresh = false,
              std::chrono::milliseconds quiet = std::chrono::seconds(10)) {
        if (!fresh) folder.MakeOld(name);
        path = folder.Path(name);
        CaptureRequest request;
        request.file = path;
        view.emplace(request, ViewRequest{}, quiet);
    }
    /// Looks until something holds.
    bool Comes(const std::function<bool()>& holds) {
        return Soon([&] {
            view->Look();
            return holds();
        });
    }
    bool Shows(const std::string& line) {
        return Comes([&] { return HasLine(view->Feed(), line); });
    }
    bool IsLive() const { return view->Feed().Now().live; }
    /// Which recording the pages are told that it is.
    std::string Number() const {
        const std::string overview = view->Feed().Overview();
        const std::size_t begin = overview.find("\"recording\":") + 12;
        return overview.substr(begin, overview.find(',', begin) - begin);
    }
    std::string Trouble() const {
        std::string told = view->Feed().Now().trouble;
        const std::size_t at = told.find(path);
        if (at != std::string::npos) told.replace(at, path.size(), "o.bin");
        return told;
    }
    /// What an action and some looks tell on standard error. \param text of the file's name
    std::string Told(const std::function<void()>& action) {
        testing::internal::CaptureStderr();
        action();
        for (int i = 0; i < 5; ++i) view->Look();
        std::string told = testing::internal::GetCapturedStderr();
        for (std::size_t at = told.find(path); at != std::string::npos; at = told.find(path)) {
            told.replace(at, path.size(), "o.bin");
        }
        return told;
    }

    views::Folder folder;
    std::string path;
    std::optional<ViewedFile> view;
};

TEST_F(ViewedFileTest, CompleteFileIsShownToItsEnd) {
    folder.Put("o.bin", CaptureOf("first\nsecond\n"));
    View("o.bin");
    EXPECT_EQ(view->Name(), path);
    EXPECT_TRUE(Comes([this] { return view->Feed().Now().indexed == 32; }));
    EXPECT_FALSE(IsLive());
    EXPECT_NE(view->Feed().Overview().find("\"changeable\":true"), std::string::npos) << "types of ports";
    EXPECT_TRUE(Shows("second"));
    EXPECT_EQ(Told([] {}), "");
    EXPECT_TRUE(view->Whole());
    EXPECT_EQ(Trouble(), "");
}

TEST_F(ViewedFileTest, FileThatIsBeingWrittenIsFollowed) {
    folder.Put("o.bin", CaptureOf("first\n"));
    View("o.bin", true);
    EXPECT_TRUE(IsLive());
    EXPECT_TRUE(Shows("first"));
    EXPECT_EQ(Told([this] {
                  for (const char* const line : {"second", "third"}) {
                      folder.Put("o.bin", Said(line + std::string("\n")), true);
                      EXPECT_TRUE(Shows(line));
                  }
              }),
              "");
    EXPECT_TRUE(HasLine(view->Feed(), "first"));
    EXPECT_TRUE(IsLive());
}

TEST_F(ViewedFileTest, EmptyFileThatIsBeingWrittenIsFollowedFromItsFirstByte) {
    folder.Put("o.bin", {});
    View("o.bin", true);
    EXPECT_TRUE(IsLive());
    folder.Put("o.bin", CaptureOf("first\n"), true);
    EXPECT_TRUE(Shows("first"));
}

TEST_F(ViewedFileTest, FileThatHasNotGrownForAWhileIsComplete) {
    folder.Put("o.bin", CaptureOf("first\n"));
    View("o.bin", true, std::chrono::milliseconds(300));
    EXPECT_TRUE(IsLive());
    EXPECT_TRUE(Comes([this] { return !IsLive(); }));
    EXPECT_TRUE(HasLine(view->Feed(), "first"));
    EXPECT_TRUE(view->Whole());
    EXPECT_EQ(Told([this] { folder.Put("o.bin", Said("second\n"), true); }),
              "tracehost: \"o.bin\" has grown: it is shown anew\n");
    EXPECT_TRUE(Shows("second"));
}

TEST_F(ViewedFileTest, FileThatWasCompleteAndGrowsIsShownAnew) {
    folder.Put("o.bin", CaptureOf("first\n"));
    View("o.bin");
    EXPECT_TRUE(Shows("first"));
    EXPECT_FALSE(IsLive());
    const uint64_t revision = view->Feed().Now().revision;
    const std::string number = Number();
    EXPECT_EQ(Told([this] { folder.Put("o.bin", Said("second\n"), true); }),
              "tracehost: \"o.bin\" has grown: it is shown anew\n");
    EXPECT_TRUE(Shows("second"));
    EXPECT_TRUE(HasLine(view->Feed(), "first"));
    EXPECT_TRUE(IsLive());
    EXPECT_GT(view->Feed().Now().revision, revision) << "an open page notices";
    EXPECT_EQ(Number(), number) << "its places and lines are what they were";
}

TEST_F(ViewedFileTest, EmptyFileThatWasCompleteAndGrowsIsShown) {
    folder.Put("o.bin", {});
    View("o.bin");
    EXPECT_TRUE(Comes([this] { return !IsLive(); }));
    folder.Put("o.bin", CaptureOf("first\n"), true);
    EXPECT_TRUE(Shows("first"));
    EXPECT_TRUE(IsLive());
}

TEST_F(ViewedFileTest, FileThatBecomesShorterIsAnotherRecording) {
    for (const bool fresh : {false, true}) {
        folder.Put("o.bin", CaptureOf("first\nsecond\n"));
        View("o.bin", fresh);
        EXPECT_TRUE(Shows("second"));
        const uint64_t revision = view->Feed().Now().revision;
        const std::string number = Number();
        EXPECT_EQ(Told([this] { folder.Put("o.bin", CaptureOf("other\n")); }),
                  "tracehost: \"o.bin\" has become shorter: it is another recording now\n");
        EXPECT_TRUE(Shows("other"));
        EXPECT_FALSE(HasLine(view->Feed(), "first"));
        EXPECT_TRUE(IsLive());
        EXPECT_GT(view->Feed().Now().revision, revision);
        EXPECT_NE(Number(), number);
        EXPECT_EQ(Told([this] { folder.Put("o.bin", {}); }),
                  "tracehost: \"o.bin\" has become shorter: it is another recording now\n")
            << "each time once";
        EXPECT_TRUE(Comes([this] { return view->Feed().Now().bytes == 0; }));
        EXPECT_TRUE(view->Whole());
    }
}

TEST_F(ViewedFileTest, FileInWhosePlaceAnotherComesIsShownAnew) {
    for (const bool fresh : {false, true}) {
        folder.Put("o.bin", CaptureOf("first\n"));
        View("o.bin", fresh);
        EXPECT_TRUE(Shows("first"));
        folder.Put("next", CaptureOf("another, and longer\n"));
        const std::string number = Number();
        std::error_code failure;
        const std::string told = Told([&] { fs::rename(folder.Path("next"), path, failure); });
        if (failure) GTEST_SKIP() << "the system keeps a file in its place while it is read";
        EXPECT_EQ(told, "tracehost: \"o.bin\" is another file now: it is shown anew\n");
        EXPECT_TRUE(Shows("another, and longer"));
        EXPECT_FALSE(HasLine(view->Feed(), "first"));
        EXPECT_NE(Number(), number);
        EXPECT_TRUE(view->Whole());
    }
}

TEST_F(ViewedFileTest, FileThatIsRemovedIsStillShownAndThatIsToldOnce) {
    folder.Put("o.bin", CaptureOf("first\n"));
    View("o.bin", true);
    EXPECT_TRUE(Shows("first"));
    std::error_code failure;
    const std::string told = Told([&] { fs::remove(path, failure); });
    if (failure) GTEST_SKIP() << "the system keeps a file in its place while it is read";
    EXPECT_EQ(told, "tracehost: \"o.bin\" is not there any more: what came of it is still shown\n");
    EXPECT_EQ(Told([] {}), "");
    EXPECT_TRUE(Comes([this] { return !IsLive(); }));
    EXPECT_TRUE(HasLine(view->Feed(), "first"));
    EXPECT_TRUE(view->Whole());
    EXPECT_EQ(Told([this] { folder.Put("o.bin", CaptureOf("second\n")); }),
              "tracehost: \"o.bin\" is another file now: it is shown anew\n");
    EXPECT_TRUE(Shows("second"));
}

TEST_F(ViewedFileTest, RecordingInATdfFileIsCompleteHoweverFreshItIs) {
    folder.Put("o.tdf", Tdf({CaptureOf("first\n")}));
    View("o.tdf", true);
    EXPECT_FALSE(IsLive());
    EXPECT_TRUE(Shows("first"));
    EXPECT_EQ(Told([this] { folder.Put("o.tdf", Tdf({CaptureOf("second\n")}), true); }), "");
    EXPECT_TRUE(HasLine(view->Feed(), "first"));
    EXPECT_TRUE(view->Whole());
}

TEST_F(ViewedFileTest, TdfFileThatBecomesShorterIsToldOnce) {
    folder.Put("o.tdf", Tdf({CaptureOf("first\n")}));
    View("o.tdf");
    EXPECT_TRUE(Shows("first"));
    EXPECT_EQ(
        Told([this] { fs::resize_file(path, fs::file_size(path) - 1); }),
        "tracehost: \"o.bin\" has become shorter while it is shown: begin again to see what it holds now\n");
    EXPECT_EQ(Told([this] { fs::resize_file(path, 0); }), "");
    EXPECT_FALSE(view->Whole());
    EXPECT_EQ(Trouble(),
              "Not all of the recording is shown: \"o.bin\" has become shorter while it is shown: "
              "begin again to see what it holds now");
}

TEST_F(ViewedFileTest, DamagedTdfFileIsShownAsFarAsItGoesAndThatIsToldOnce) {
    std::vector<uint8_t> file = Tdf({CaptureOf("first\nsecond\n")});
    file.resize(file.size() - 14);
    folder.Put("o.tdf", file);
    EXPECT_EQ(
        Told([this] {
            View("o.tdf");
            EXPECT_TRUE(Shows("first"));
        }),
        "tracehost: \"o.bin\" is damaged at offset 16: the section is longer than the rest of the file\n");
    EXPECT_FALSE(view->Whole());
    EXPECT_EQ(Trouble(),
              "Not all of the recording is shown: \"o.bin\" is damaged at offset 16: the section is "
              "longer than the rest of the file");
    EXPECT_EQ(view->Feed().Now().bytes, 18U);
}

TEST_F(ViewedFileTest, WhatIsNoRecordingOnADiskIsRefused) {
    const auto refusal = [this](const std::string& file) -> std::string {
        CaptureRequest request;
        request.file = file;
        try {
            view.emplace(request, ViewRequest{});
        } catch (const UsageError& error) {
            return error.what();
        }
        return "none";
    };
    EXPECT_EQ(refusal("-"), "\"-\" is no file on a disk: a view reads it again and again");
    const std::string missing = folder.Path("missing.bin");
    EXPECT_EQ(refusal(missing), "\"" + missing + "\" cannot be read: " + WhyNotReadable(missing));
    const std::string directory = folder.Path(".");
    EXPECT_EQ(refusal(directory), "\"" + directory + "\" cannot be read: " + WhyNotReadable(directory));
    const std::string several = folder.Put("several.tdf", Tdf({CaptureOf("a\n"), CaptureOf("b\n")}));
    EXPECT_EQ(refusal(several),
              "a view shows one recording: \"" + several + "\" has several, --section says which");
    std::error_code none;
    if (fs::is_character_file("/dev/zero", none)) {
        EXPECT_EQ(refusal("/dev/zero"),
                  "\"/dev/zero\" is no file on a disk: a view reads it again and again");
    }
}

TEST_F(ViewedFileTest, EndsWhileItStillReadsAndLeavesNoThread) {
    const auto before = views::Threads();
    folder.Put("o.bin", CaptureOf(std::string(3'000'000, 'x')));
    for (const bool fresh : {false, true}) {
        View("o.bin", fresh);
        EXPECT_LT(view->Feed().Now().indexed, 6'000'006U);
        view.reset();
        EXPECT_EQ(views::Threads(), before);
    }
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tracehost
