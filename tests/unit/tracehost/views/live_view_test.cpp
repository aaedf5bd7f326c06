// The page of a recording that is being made: parts that come and go, and trouble that stays its own.
#include "tracehost/live_view.h"

#include <gtest/gtest.h>

#include <optional>

#include "tests/fakes/scripted_local_socket.h"
#include "tests/unit/tracehost/views/said_text.h"
#include "tracehost/errors.h"
#include "tracehost/file_access.h"
#include "tracehost/platform_words.h"

namespace {

std::vector<std::string> opened;            // addresses, by a browser
std::optional<std::string> browserTrouble;  // of the next one

}  // namespace

namespace Korr::Plim::Trace::Tracehost {

BrowserCall::BrowserCall(const std::string& address) : problem(browserTrouble) { opened.push_back(address); }
BrowserCall::~BrowserCall() = default;
std::optional<std::string> BrowserCall::Problem() { return std::exchange(problem, std::nullopt); }

namespace {

using fakes::ScriptedNetwork;
using views::CaptureOf;
using views::HasLine;
using views::Said;
using views::Soon;

class LiveViewTest : public testing::Test {
  protected:
    LiveViewTest() {
        ScriptedNetwork::Reset();
        opened.clear();
        browserTrouble.reset();
        request.view = true;
        part.name = folder.Path("o.bin");
        part.raw = true;
        part.captureFile = folder.Path("capture");
    }
    void Begin() {
        view.emplace(request, [this] { return part; });
    }
    /// What comes next into the plug-in's file, and is told to the view.
    void Come(std::span<const uint8_t> bytes, bool behind = true) {
        folder.Put("capture", bytes, behind);
        view->Take(bytes);
    }
    /// The part ends and is saved.
    void Save(std::span<const uint8_t> bytes, const RecordingSheet& sheet = {}) {
        part.savedFile = folder.Put("o.bin", bytes);
        view->EndPart(sheet);
    }
    bool Shows(const std::string& line) {
        return Soon([&] { return HasLine(view->Feed(), line); });
    }
    bool Ended() const {
        return Soon([this] { return !view->Feed().Now().live; });
    }
    /// What stands behind `key` in the overview, up to a letter.
    std::string Fact(const std::string& key, char end) const {
        const std::string overview = view->Feed().Overview();
        const std::size_t begin = overview.find(key) + key.size();
        return overview.substr(begin, overview.find(end, begin) - begin);
    }
    std::string Name() const { return Fact("\"name\":\"", '"'); }
    std::string Number() const { return Fact("\"recording\":", ','); }
    /// What the pages are told about a recording of which no more is shown.
    static std::string NoMore(const std::string& why) {
        return "No more of the recording is shown here; the recording itself is not affected: " + why;
    }
    static std::string Told(const std::function<void()>& action) {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    views::Folder folder;
    RecordRequest request;
    LivePart part;
    std::optional<LiveView> view;
};

TEST_F(LiveViewTest, IsServedBeforeTheFirstByteAndTellsItsAddress) {
    const std::string told = Told([this] { Begin(); });
    const std::string start = "tracehost: the recording, as it is made: http://127.0.0.1:4711/?token=";
    EXPECT_TRUE(told.starts_with(start)) << told;
    EXPECT_EQ(told.size(), start.size() + 32 + 1);
    EXPECT_TRUE(ScriptedNetwork::IsListening());
    EXPECT_TRUE(view->Feed().Now().live);
    EXPECT_EQ(Name(), "o.bin") << "and not where it stands";
    view.reset();
    EXPECT_FALSE(ScriptedNetwork::IsListening());
}

TEST_F(LiveViewTest, PortThatCannotBeTakenIsRefused) {
    ScriptedNetwork::Calls().Fail("Listen");
    try {
        Begin();
        FAIL();
    } catch (const UsageError& error) {
        EXPECT_EQ(error.what(), "--view: port 0 of 127.0.0.1 cannot be taken: " + ErrorWords(104));
    }
    EXPECT_TRUE(opened.empty());
}

TEST_F(LiveViewTest, BrowserIsOpenedOnceTheRecordingRunsAndItsTroubleIsToldOnce) {
    browserTrouble = "there is none";
    const std::string served = Told([this] { Begin(); });
    EXPECT_TRUE(opened.empty()) << "the recording may still be refused";
    EXPECT_EQ(Told([this] {
                  for (int i = 0; i < 3; ++i) view->Look();
              }),
              "tracehost: no browser was opened (there is none): open the address yourself\n");
    ASSERT_EQ(opened.size(), 1U);
    const std::string start = "http://127.0.0.1:4711/open?ticket=";
    EXPECT_TRUE(opened[0].starts_with(start)) << opened[0];
    EXPECT_EQ(opened[0].size(), start.size() + 32);
    const std::string token = served.substr(served.find("token=") + 6, 32);
    EXPECT_EQ(opened[0].find(token), std::string::npos) << "others may see a program's arguments";
}

TEST_F(LiveViewTest, BrowserIsNotOpenedUnwanted) {
    request.noBrowser = true;
    Begin();
    EXPECT_EQ(Told([this] { view->Look(); }), "");
    EXPECT_TRUE(opened.empty());
}

TEST_F(LiveViewTest, BytesAreShownAsTheyCome) {
    Begin();
    part.port = 5;
    part.clockHz = 48e6;
    part.bitRate = 2e6;
    Come(CaptureOf("first\n"));
    EXPECT_TRUE(Shows("first"));
    Come(Said("second\n"));
    EXPECT_TRUE(Shows("second"));
    EXPECT_TRUE(view->Feed().Now().live);
    EXPECT_EQ(view->Feed().Now().trouble, "");
    const std::string overview = view->Feed().Overview();
    for (const char* const known : {"\"port\":\"COM5\"", "\"clock_hz\":48000000", "\"baud\":2000000"}) {
        EXPECT_NE(overview.find(known), std::string::npos) << known << overview;
    }
}

TEST_F(LiveViewTest, OnlyWantedBytesAreShown) {
    request.bytes = 18;
    Begin();
    Come(CaptureOf("first\nsecond\n"));
    EXPECT_TRUE(Soon([this] { return view->Feed().Now().indexed == 18; }));
    Come(Said("third\n"));
    Save(CaptureOf("first\n"));
    EXPECT_TRUE(Ended());
    EXPECT_EQ(view->Feed().Now().bytes, 18U);
    EXPECT_EQ(Told([this] { view->Look(); }), "");
}

TEST_F(LiveViewTest, SavedPartIsReadWhereItWasSavedAndHasWhatTheHostKnows) {
    Begin();
    const std::vector<uint8_t> capture = CaptureOf("first\nsecond\n");
    Come(capture);
    EXPECT_TRUE(Shows("second"));
    RecordingSheet sheet;
    sheet.ledger["port-lost"] = 1;
    Save(capture, sheet);
    EXPECT_TRUE(Ended());
    folder.Put("capture", CaptureOf("next.\nunsaid\n"));  // the next recording
    EXPECT_TRUE(HasLine(view->Feed(), "first"));
    EXPECT_NE(view->Feed().Ledger(0, 10).find("\"kind\":\"port-lost\""), std::string::npos);
    EXPECT_EQ(Told([this] { view->Look(); }), "");
}

TEST_F(LiveViewTest, NextPartTakesThePlaceOfTheLastUnderAnOpenPage) {
    Begin();
    const std::vector<uint8_t> first = CaptureOf("first\n");
    Come(first);
    EXPECT_TRUE(Shows("first"));
    Save(first);
    EXPECT_TRUE(Ended());
    EXPECT_EQ(Name(), "o.bin");
    const std::string number = Number();
    const uint64_t revision = view->Feed().Now().revision;
    part.name = folder.Path("o-2.bin");
    part.savedFile.clear();
    Come(CaptureOf("second\n"), false);
    EXPECT_TRUE(Shows("second"));
    EXPECT_FALSE(HasLine(view->Feed(), "first"));
    EXPECT_TRUE(view->Feed().Now().live);
    EXPECT_GT(view->Feed().Now().revision, revision) << "an open page notices";
    EXPECT_EQ(Name(), "o-2.bin, part 2");
    EXPECT_NE(Number(), number) << "places and lines of the first mean nothing in the second";
}

TEST_F(LiveViewTest, PartWithoutBytesLeavesWhatWasShown) {
    Begin();
    Come(CaptureOf("first\n"));
    EXPECT_TRUE(Shows("first"));
    Save(CaptureOf("first\n"));
    EXPECT_TRUE(Ended());
    view->EndPart({});
    EXPECT_TRUE(HasLine(view->Feed(), "first"));
    EXPECT_FALSE(view->Feed().Now().live);
}

TEST_F(LiveViewTest, RecordingWithoutAByteHasEndedAllTheSame) {
    Begin();
    EXPECT_TRUE(view->Feed().Now().live);
    view->EndPart({});
    EXPECT_FALSE(view->Feed().Now().live);
    EXPECT_EQ(Told([this] { view->Look(); }), "");
}

TEST_F(LiveViewTest, CaptureFileThatCannotBeReadEndsTheViewAndIsToldOnce) {
    Begin();
    const std::string why =
        "\"" + part.captureFile + "\" cannot be read: " + WhyNotReadable(part.captureFile);
    EXPECT_EQ(Told([this] {
                  for (int i = 0; i < 3; ++i) view->Take(CaptureOf("first\n"));
                  view->EndPart({});
                  view->Look();
              }),
              "tracehost: --view shows no more of the recording, which goes on: " + why + "\n");
    EXPECT_TRUE(ScriptedNetwork::IsListening()) << "an open page is still answered";
    EXPECT_EQ(view->Feed().Now().trouble, NoMore(why));
    EXPECT_TRUE(view->Feed().Now().live);
}

TEST_F(LiveViewTest, TroubleInTheReadingThreadIsToldOnceAndTheRecordingGoesOn) {
    Begin();
    Come(CaptureOf("first\n"));
    view->Take(Said("never written\n"));
    EXPECT_EQ(
        Told([this] {
            view->EndPart({});
            EXPECT_TRUE(Ended());
            for (int i = 0; i < 3; ++i) view->Look();
            view->Take(Said("x"));
        }),
        "tracehost: --view shows no more of the recording, which goes on: the capture cannot be read beyond "
        "18 bytes: did it become shorter while it was read?\n");
    EXPECT_TRUE(HasLine(view->Feed(), "first")) << "what came is still shown";
    EXPECT_EQ(view->Feed().Now().trouble,
              NoMore("the capture cannot be read beyond 18 bytes: did it become shorter while it was read?"));
}

TEST_F(LiveViewTest, NextPartDoesNotHideThatNoMoreIsShown) {
    Begin();
    const std::string why =
        "\"" + part.captureFile + "\" cannot be read: " + WhyNotReadable(part.captureFile);
    Told([this] {
        view->Take(CaptureOf("first\n"));
        view->EndPart({});
        Come(CaptureOf("second\n"));
        view->Look();
    });
    EXPECT_EQ(view->Feed().Now().trouble, NoMore(why));
    EXPECT_FALSE(HasLine(view->Feed(), "second"));
}

TEST_F(LiveViewTest, SavedFileThatCannotBeReadEndsTheView) {
    Begin();
    Come(CaptureOf("first\n"));
    part.savedFile = folder.Path("missing");
    EXPECT_EQ(Told([this] { view->EndPart({}); }),
              "tracehost: --view shows no more of the recording, which goes on: \"" + part.savedFile +
                  "\" cannot be read: " + WhyNotReadable(part.savedFile) + "\n");
    EXPECT_EQ(view->Feed().Now().trouble,
              NoMore("\"" + part.savedFile + "\" cannot be read: " + WhyNotReadable(part.savedFile)));
}

TEST_F(LiveViewTest, EndsWhileItStillReadsAndLeavesNoThread) {
    const auto before = views::Threads();
    Begin();
    Come(CaptureOf(std::string(3'000'000, 'x')));
    view.reset();
    EXPECT_EQ(views::Threads(), before);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tracehost
