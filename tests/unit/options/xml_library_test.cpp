// The XML library replaced at its functions (by the linker's --wrap): failures of its own that no file can
// bring about, the balance of its initialisation, and its memory.
#include <gtest/gtest.h>

#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/RuntimeException.hpp>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "options/ChannelOptionsHandler.h"
#include "options/XMLOptionsHandler.h"
#include "source_utilities/file_system.h"
#include "tests/fakes/scripted_port_devices.h"
#include "tests/unit/options/options_test_support.h"

namespace {

class CountingMemory : public xercesc::MemoryManager {
  public:
    xercesc::MemoryManager* getExceptionMemoryManager() override { return this; }
    void* allocate(XMLSize_t size) override {
        ++live;
        return std::malloc(size);
    }
    void deallocate(void* memory) override {
        if (memory != nullptr) --live;
        std::free(memory);
    }
    long live = 0;
};

struct LibraryScript {
    int initialised = 0;
    int terminated = 0;
    bool failInitialisation = false;
    bool failParsing = false;
    bool throwOther = false;
    int errorCount = 0;
    long liveAfterInitialisation = 0;
    long liveBeforeTermination = 0;
    std::string message;
    CountingMemory memory;
    bool failStreams = false;            ///< of the C library, from their opening on
    std::function<void()> whileReading;  ///< called by every read of a file
    std::function<void()> whileParsing;
};
LibraryScript script;

/// Throws an exception of the library; its text is kept.
void FailInLibrary() {
    xercesc::RuntimeException failure("file.cpp", 1, xercesc::XMLExcepts::Gen_ParseInProgress,
                                      xercesc::XMLPlatformUtils::fgMemoryManager);
    script.message = Korr::Plim::Trace::Tarnel::NarrowText(failure.getMessage());
    throw failure;
}

}  // namespace

// What the linker calls in place of the library's functions, and the functions themselves.
void WrapInitialize(const char*, const char*, xercesc::PanicHandler*,
                    xercesc::MemoryManager*) __asm__("__wrap_" XML_INITIALIZE);
void RealInitialize(const char*, const char*, xercesc::PanicHandler*,
                    xercesc::MemoryManager*) __asm__("__real_" XML_INITIALIZE);
void WrapTerminate() __asm__("__wrap_" XML_TERMINATE);
void RealTerminate() __asm__("__real_" XML_TERMINATE);
void WrapParse(xercesc::SAXParser*, const xercesc::InputSource&) __asm__("__wrap_" XML_PARSE);
void RealParse(xercesc::SAXParser*, const xercesc::InputSource&) __asm__("__real_" XML_PARSE);
int WrapErrorCount(const xercesc::SAXParser*) __asm__("__wrap_" XML_ERROR_COUNT);
int RealErrorCount(const xercesc::SAXParser*) __asm__("__real_" XML_ERROR_COUNT);

void WrapInitialize(const char* locale, const char* home, xercesc::PanicHandler* panic,
                    xercesc::MemoryManager*) {
    ++script.initialised;
    RealInitialize(locale, home, panic, &script.memory);
    script.liveAfterInitialisation = script.memory.live;
    if (script.failInitialisation) FailInLibrary();
}

void WrapTerminate() {
    ++script.terminated;
    script.liveBeforeTermination = script.memory.live;
    RealTerminate();
}

void WrapParse(xercesc::SAXParser* parser, const xercesc::InputSource& source) {
    if (script.whileParsing) script.whileParsing();
    RealParse(parser, source);
    if (script.failParsing) FailInLibrary();
    if (script.throwOther) throw 7;
}

int WrapErrorCount(const xercesc::SAXParser* parser) { return RealErrorCount(parser) + script.errorCount; }

extern "C" {
std::size_t __real_fread(void*, std::size_t, std::size_t, std::FILE*);
std::size_t __wrap_fread(void* data, std::size_t size, std::size_t count, std::FILE* stream) {
    if (script.whileReading) script.whileReading();
    return script.failStreams ? count / 2 : __real_fread(data, size, count, stream);
}
int __real_ferror(std::FILE*);
int __wrap_ferror(std::FILE* stream) { return script.failStreams ? 1 : __real_ferror(stream); }
int __real_fputs(const char*, std::FILE*);
int __wrap_fputs(const char* text, std::FILE* stream) {
    return script.failStreams ? EOF : __real_fputs(text, stream);
}
int __real_fclose(std::FILE*);
int __wrap_fclose(std::FILE* stream) {
    const int result = __real_fclose(stream);
    return script.failStreams ? EOF : result;
}
}

namespace Korr::Plim::Trace::Tarnel {
namespace {

class XmlLibraryTest : public testing::Test {
  protected:
    void SetUp() override {
        PortDevicesScript() = {};
        script.initialised = 0;
        script.terminated = 0;
        script.failInitialisation = false;
        script.failParsing = false;
        script.throwOther = false;
        script.errorCount = 0;
        script.failStreams = false;
        script.whileReading = nullptr;
        script.whileParsing = nullptr;
        script.message.clear();
    }
    void TearDown() override {
        // Also after a failed initialisation, which nobody terminates.
        if (script.failInitialisation) xercesc::XMLPlatformUtils::Terminate();
        EXPECT_EQ(script.initialised, script.terminated);
        EXPECT_EQ(script.memory.live, 0);
    }

    const std::string good = FileWith("<ENCTYPE>UART</ENCTYPE>");
};

TEST_F(XmlLibraryTest, FailedInitialisationIsToldWithTheLibrarysMessage) {
    script.failInitialisation = true;
    const Answer answer = ReadText(good);
    EXPECT_NE(script.message, "");
    EXPECT_EQ(answer.error, "error during XML initialization" + script.message);
    EXPECT_EQ(answer.severity, 2);
    EXPECT_EQ(script.terminated, 0);
}

TEST_F(XmlLibraryTest, FailedInitialisationComesBeforeAMissingFile) {
    script.failInitialisation = true;
    const Answer answer = ReadFile("no such file.xml");
    EXPECT_EQ(answer.error, "error during XML initialization" + script.message);
}

TEST_F(XmlLibraryTest, XmlExceptionIsToldWithTheLibrarysMessage) {
    script.failParsing = true;
    const Answer answer = ReadText(good);
    EXPECT_NE(script.message, "");
    EXPECT_EQ(answer.error, "eerror during XML parsing" + script.message);
    EXPECT_EQ(answer.severity, 2);
}

TEST_F(XmlLibraryTest, XmlExceptionHidesTheErrorCount) {
    script.failParsing = true;
    script.errorCount = 3;
    const Answer answer = ReadText(good);
    EXPECT_EQ(answer.error, "eerror during XML parsing" + script.message);
}

TEST_F(XmlLibraryTest, OtherExceptionIsUndefined) {
    script.throwOther = true;
    const Answer answer = ReadText(good);
    EXPECT_EQ(answer.error, kUndefinedException);
    EXPECT_EQ(answer.severity, 2);
}

TEST_F(XmlLibraryTest, RecoverableErrorsNameTheFileWithSeverityOne) {
    script.errorCount = 1;
    const TemporaryFile file(good);
    const Answer answer = ReadFile(file.Name());
    EXPECT_EQ(answer.error, "Recoverable errors were detected while parsing " + file.Name());
    EXPECT_EQ(answer.severity, 1);
}

TEST_F(XmlLibraryTest, RecoverableErrorsHideTheMissingReceiverName) {
    script.errorCount = 2;
    EXPECT_EQ(ReadText("<r/>").error, "Recoverable errors were detected while parsing memory");
}

TEST_F(XmlLibraryTest, FatalErrorHidesTheErrorCount) {
    script.errorCount = 2;
    EXPECT_EQ(ReadText("<r>").error, kUndefinedException);
}

TEST_F(XmlLibraryTest, LibraryIsTerminatedOncePerReadOnEveryRoad) {
    const std::string files[] = {
        good, "<r/>", "<r>", "", "<r><VERSION/></r>", "<r><RCVRNAME>x</RCVRNAME></r>"};
    for (const std::string& file : files) {
        const int before = script.terminated;
        ReadText(file);
        EXPECT_EQ(script.terminated, before + 1) << file;
    }
    ReadFile("no such file.xml");
    EXPECT_EQ(script.initialised, 7);
    EXPECT_EQ(script.terminated, 7);
}

TEST_F(XmlLibraryTest, ParserAndItsExceptionsAreGoneBeforeTermination) {
    const std::string files[] = {
        good,
        "<r/>",
        "<r>",
        "",
        "<r><VERSION/></r>",
        "<r><RCVRNAME>x</RCVRNAME></r>",
        "<!DOCTYPE r SYSTEM 'x.dtd'><r/>",
        "<!DOCTYPE r [<!ENTITY e SYSTEM 'x'>]><r>&e;</r>",
        "<!DOCTYPE r [<!ENTITY % e 'x'>]><r/>",
    };
    for (const std::string& file : files) {
        for (const bool failParsing : {false, true}) {
            script.failParsing = failParsing;
            ReadText(file);
            EXPECT_EQ(script.liveBeforeTermination, script.liveAfterInitialisation) << file;
        }
    }
}

TEST_F(XmlLibraryTest, FileThatCannotBeReadToItsEndIsUndefined) {
    const TemporaryFile file(good);
    script.failStreams = true;
    const Answer answer = ReadFile(file.Name());
    EXPECT_EQ(answer.error, kUndefinedException);
    EXPECT_EQ(answer.severity, 2);
}

TEST_F(XmlLibraryTest, FailedWriteAndCloseOfASavedFileAreNotTold) {
    const TemporaryFile file("before");
    ChannelOptionsHandler handler;
    OptionList options;
    handler.GetOptions(options, "", 0);
    script.failStreams = true;
    EXPECT_NO_THROW(handler.SaveOptions(options, file.Name()));
    script.failStreams = false;
    EXPECT_EQ(file.Contents(), "") << "opening emptied the file, and nothing came into it";
}

/// One failure of each kind, by turns, each through a file.
void FailSomehow(int turn) {
    const std::string files[] = {"<r/>", "<r>", "<r><VERSION/></r>", "<r><RCVRNAME>x</RCVRNAME></r>"};
    if (turn % 5 < 4) {
        const TemporaryFile file(files[turn % 5]);
        EXPECT_NE(ReadFile(file.Name()).error, "");
    } else {
        EXPECT_NE(ReadFile("no such file.xml").error, "");
    }
}

/// Open files of this process where the platform lists them, else 0. (Wine lists those of its server.)
std::ptrdiff_t OpenFiles() {
    if (KORR_PLIM::platform::PathSeparator() != '/') return 0;
    std::error_code failure;
    const std::filesystem::directory_iterator files("/proc/self/fd", failure);
    return failure ? 0 : std::distance(files, {});
}

TEST_F(XmlLibraryTest, ThousandFailuresLeakNothing) {
    // One more use of the library saves the time of its set-up.
    xercesc::XMLPlatformUtils::Initialize();
    FailSomehow(0);
    const long before = script.memory.live;
    const std::ptrdiff_t open = OpenFiles();
    for (int turn = 0; turn < 1000; ++turn) FailSomehow(turn);
    EXPECT_EQ(script.memory.live, before);
    EXPECT_EQ(OpenFiles(), open);
    const TemporaryFile whole(good);
    EXPECT_EQ(ReadFile(whole.Name()).error, "") << "no stream is left to open";
    xercesc::XMLPlatformUtils::Terminate();
}

TEST_F(XmlLibraryTest, FailuresWithAllOfTheLibrarysSetUpLeakNothing) {
    for (int turn = 0; turn < 20; ++turn) FailSomehow(turn);
    EXPECT_EQ(script.memory.live, 0);
}

TEST_F(XmlLibraryTest, WhatTheParserItselfForgetsIsGivenBack) {
    // On these the parser forgets parts of the content model, or of the document type.
    for (const char* subset :
         {"<!ELEMENT r (a,(b c))>", "<!ELEMENT r (a,(b|c", "<!ELEMENT r (a,b|c)>", "<!ATTLIST r a (b|"}) {
        EXPECT_EQ(ReadText(std::string("<!DOCTYPE r [") + subset + "]><r/>").error, kUndefinedException);
        EXPECT_EQ(script.liveBeforeTermination, script.liveAfterInitialisation) << subset;
    }
}

TEST_F(XmlLibraryTest, UseByOthersInTheProcessSurvivesARead) {
    xercesc::XMLPlatformUtils::Initialize();
    ReadText(good);
    ReadText("<r>");
    EXPECT_NE(xercesc::XMLPlatformUtils::fgMemoryManager, nullptr);
    xercesc::XMLPlatformUtils::Terminate();
}

TEST_F(XmlLibraryTest, FileThatHangsHoldsUpNobodyElse) {
    const TemporaryFile hanging(good);
    const TemporaryFile other(good);
    std::promise<void> reached;
    std::promise<void> release;
    std::atomic<bool> hangs{true};
    script.whileReading = [&] {
        if (!hangs.exchange(false)) return;
        reached.set_value();
        release.get_future().wait();
    };
    auto held = std::async(std::launch::async, [&] { return ReadFile(hanging.Name()).Text(); });
    reached.get_future().wait();
    auto free = std::async(std::launch::async, [&] {
        OptionList defaults;
        ChannelOptionsHandler().GetOptions(defaults, "", 2);
        return ReadFile(other.Name()).Text();
    });
    const bool inTime = free.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    EXPECT_TRUE(inTime) << "waits for the other file";
    release.set_value();
    EXPECT_EQ(free.get(), "ENCTYPE=UART");
    EXPECT_EQ(held.get(), "ENCTYPE=UART");
}

TEST_F(XmlLibraryTest, ReadersTakeTurnsWithTheTableAndTheLibrary) {
    std::atomic<int> inside{0};
    std::atomic<int> most{0};
    script.whileParsing = [&] {
        const int now = ++inside;
        if (now > most) most = now;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        --inside;
    };
    const TemporaryFile file(FileWith("<ENCTYPE>UART</ENCTYPE>"));
    std::vector<std::future<bool>> readers;
    for (uint32_t kind = 0; kind < 4; ++kind) {
        readers.push_back(std::async(std::launch::async, [&file, kind] {
            bool own = true;
            for (int turn = 0; turn < 20; ++turn) {
                OptionList options;
                ChannelOptionsHandler().GetOptions(options, turn % 2 == 0 ? file.Name() : "", kind);
                for (const ChannelOptions& option : options) own = own && option.probeKind == kind;
            }
            return own;
        }));
    }
    for (std::future<bool>& reader : readers) EXPECT_TRUE(reader.get()) << "an option of another probe kind";
    EXPECT_EQ(most, 1);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Tarnel
