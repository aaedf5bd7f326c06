#include "simulator/host_libraries/journal.h"

#include <cstdio>

#include "simulator/host_libraries/hosts_error.h"

namespace Korr::Plim::Trace::Simulator {

namespace {

Board ReadBoardForCall(const char* library) {
    try {
        return ReadCurrentBoard();
    } catch (const BoardError& error) {
        std::fprintf(stderr, "simulated %s: %s\n", library, error.what());
        throw;
    }
}

}  // namespace

nlohmann::ordered_json TextArgument(const char* text) {
    return text != nullptr ? nlohmann::ordered_json(text) : nlohmann::ordered_json(nullptr);
}

nlohmann::ordered_json ObjectArgument(const void* pointer, const char* name) {
    return pointer != nullptr ? nlohmann::ordered_json(name) : nlohmann::ordered_json(nullptr);
}

void JournalReservedCall(const char* library, const char* operation) try {
    JournalCall call(library, operation, nlohmann::ordered_json::object());
    call.Violation("operation that this simulation does not know");
} catch (...) {
    ThrowAsHostsError();
}

std::string HexadecimalText(uint32_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", number);
    return text;
}

JournalCall::JournalCall(const char* library, const char* operation, nlohmann::ordered_json arguments)
    : currentBoard(ReadBoardForCall(library)) {
    line["library"] = library;
    line["operation"] = operation;
    line["arguments"] = std::move(arguments);
    line["result"] = nullptr;
}

JournalCall::~JournalCall() {
    try {
        WriteLine();
    } catch (...) {
        std::fputs("simulated host libraries: a line of the journal cannot be written\n", stderr);
    }
}

void JournalCall::WriteLine() const {
    if (currentBoard.journal.empty()) return;
    const std::string text =
        line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
    std::FILE* file = std::fopen(currentBoard.journal.c_str(), "ab");
    if (file == nullptr) {
        std::fprintf(stderr, "simulated host libraries: journal %s cannot be opened\n",
                     currentBoard.journal.c_str());
        return;
    }
    std::fwrite(text.data(), 1, text.size(), file);
    std::fclose(file);
}

}  // namespace Korr::Plim::Trace::Simulator
