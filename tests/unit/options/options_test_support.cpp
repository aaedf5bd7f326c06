#include "tests/unit/options/options_test_support.h"
#include "simulator/pelkit/error_reading.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "host_api/cPelkitError.h"
#include "options/ChannelOptionsHandler.h"
#include "options/options_reader.h"
#include "source_utilities/process.h"

namespace Korr::Plim::Trace::Tarnel {

std::string Answer::Text() const {
    if (!error.empty()) return error;
    std::string text;
    for (const ChannelOptions& option : options) {
        if (!text.empty()) text += ';';
        text += option.key + "=" + option.value;
    }
    return text;
}

Answer AnswerOf(const std::function<void(OptionList&)>& operation) {
    Answer answer;
    try {
        operation(answer.options);
    } catch (const cPelkitError& error) {
        answer.error = pelkit::TextOf(error);
        answer.severity = pelkit::SeverityOf(error);
    }
    return answer;
}

Answer ReadText(const std::string& text) {
    return AnswerOf([&](OptionList& out) { out = ReadOptionsText(text, "memory"); });
}

Answer ReadFile(const std::string& fileName) {
    return AnswerOf([&](OptionList& out) { ChannelOptionsHandler().GetOptions(out, fileName, 2); });
}

std::string FileWith(const std::string& optionLines) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CHANNEL-SETUP>\n"
           "\t<VERSION version=\"1.1.0.0\" Copyright=\"c\"></VERSION>\n"
           "\t<RCVRNAME>SWO Trace</RCVRNAME>\n" +
           optionLines + "</CHANNEL-SETUP>\n";
}

TemporaryFile::TemporaryFile(const std::string& contents) {
    static int counter = 0;
    name = testing::TempDir() + "options_test_" + std::to_string(KORR_PLIM::platform::CurrentProcessId()) +
           "_" + std::to_string(++counter) + ".xml";
    std::ofstream(name, std::ios::binary) << contents;
}

TemporaryFile::~TemporaryFile() { std::remove(name.c_str()); }

std::string TemporaryFile::Contents() const {
    std::ostringstream text;
    text << std::ifstream(name, std::ios::binary).rdbuf();
    return text.str();
}

}  // namespace Korr::Plim::Trace::Tarnel
