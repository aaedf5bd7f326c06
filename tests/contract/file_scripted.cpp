#include "tests/contract/file_under_test.h"
#include "tests/fakes/scripted_capture_file.h"

FileUnderTest::FileUnderTest() {
    fakes::ScriptedFiles::Reset();
    fakes::ScriptedFiles::MakeUnreachable(UnreachableName());
}

FileUnderTest::~FileUnderTest() = default;

std::string FileUnderTest::Name() const { return "capture.bin"; }

std::string FileUnderTest::UnreachableName() const { return "missing/capture.bin"; }

std::string FileUnderTest::Content() const { return fakes::ScriptedFiles::Content(Name()); }
