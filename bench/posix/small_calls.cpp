// Log lines, log calls below their level and reading the options file, each beside what it is made of. Google
// Benchmark; run it with KORR_TRACE_LOGGING set to the level wanted, standard output and error elsewhere and
// --benchmark_out. `locks` and `formats` count the calls of pthread_mutex_lock and vsnprintf in one log call;
// both are wrapped at link time for that.

#include <benchmark/benchmark.h>
#include <pthread.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "options/ChannelOptionsHandler.h"
#include "source_utilities/debugger_output.h"
#include "source_utilities/log_call.h"
#include "source_utilities/trace_environment.h"
#include "source_utilities/uLogManager.h"

namespace {

uint64_t locks = 0;
uint64_t formats = 0;

}  // namespace

extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __real_vsnprintf(char* text, size_t size, const char* format, va_list arguments);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    ++locks;
    return __real_pthread_mutex_lock(mutex);
}
int __wrap_vsnprintf(char* text, size_t size, const char* format, va_list arguments) {
    ++formats;
    return __real_vsnprintf(text, size, format, arguments);
}
}

namespace {

using namespace Korr::Plim::Trace::Tarnel;

KORR_PLIM::TraceEnvironment& Environment() {
    static KORR_PLIM::TraceEnvironment environment;
    KORR_PLIM::SetUpTraceEnvironment(environment);
    KORR_PLIM::OpenProcessLog(environment);
    return environment;
}

void CountPerCall(benchmark::State& state) {
    const auto calls = static_cast<double>(state.iterations());
    state.counters["locks"] = static_cast<double>(locks) / calls;
    state.counters["formats"] = static_cast<double>(formats) / calls;
    state.counters["level"] = KORR_PLIM::uLogManager::Instance().Level();
}

void LogLine(benchmark::State& state) {
    Environment();
    locks = formats = 0;
    int32_t number = 0;
    for (auto _ : state) {
        KORR_PLIM::LogMessage(1, "%s: GetNumSamples retrieved %d samples", "Tarnel_ChannelDriver", ++number);
    }
    CountPerCall(state);
}
BENCHMARK(LogLine);

// The same text to the same three places: file, standard output, debugger.
void PlainLine(benchmark::State& state) {
    const std::string path = Environment().dataFolder + "/plain_lines.txt";
    std::FILE* file = std::fopen(path.c_str(), "a+");
    const char line[] = "M     12:34:56:789 | Tarnel_ChannelDriver: GetNumSamples retrieved 123456 samples\n";
    for (auto _ : state) {
        std::fputs(line, file);
        std::fflush(file);
        std::fputs(line, stdout);
        std::fflush(stdout);
        KORR_PLIM::platform::WriteToDebugger(line);
    }
    std::fclose(file);
    std::remove(path.c_str());
}
BENCHMARK(PlainLine);

void LogCallBelowLevel(benchmark::State& state) {
    Environment();
    locks = formats = 0;
    int32_t number = 0;
    for (auto _ : state) {
        KORR_PLIM::LogMessage(2, "%s: GetNumSamples retrieved %d samples", "Tarnel_ChannelDriver", ++number);
    }
    CountPerCall(state);
}
BENCHMARK(LogCallBelowLevel);

std::string OptionsFile() {
    const std::string path = Environment().dataFolder + "/options.xml";
    ChannelOptionsHandler handler;
    OptionList options;
    handler.GetOptions(options, "", 2);
    handler.SaveOptions(options, path);
    return path;
}

void ReadOptionsFile(benchmark::State& state) {
    const std::string path = OptionsFile();
    ChannelOptionsHandler handler;
    OptionList options;
    for (auto _ : state) {
        options.clear();
        handler.GetOptions(options, path, 2);
    }
    if (options.size() != 8) state.SkipWithError("not all options were read");
}
BENCHMARK(ReadOptionsFile);

// The parser alone on the same file, set up and taken down around it as for every options file.
void ParseOptionsFile(benchmark::State& state) {
    const std::string path = OptionsFile();
    for (auto _ : state) {
        xercesc::XMLPlatformUtils::Initialize();
        {
            xercesc::SAXParser parser;
            xercesc::HandlerBase handler;
            parser.setDocumentHandler(&handler);
            parser.setErrorHandler(&handler);
            parser.parse(path.c_str());
        }
        xercesc::XMLPlatformUtils::Terminate();
    }
}
BENCHMARK(ParseOptionsFile);

}  // namespace

BENCHMARK_MAIN();
