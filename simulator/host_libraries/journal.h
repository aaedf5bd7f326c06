#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "simulator/board/board_file.h"

namespace Korr::Plim::Trace::Simulator {

/// One call of a simulated library: reads the board anew when it begins, and appends one line to the board's
/// journal when it ends, also by an exception.
///
/// The line is a JSON object: "library", "operation", "arguments", "result" and, when the caller did what a
/// real host would punish, "violation". One line is one write at the end of the file.
class JournalCall {
  public:
    /// \throws BoardError (also said on standard error, because callers may swallow it)
    JournalCall(const char* library, const char* operation, nlohmann::ordered_json arguments);
    ~JournalCall();
    JournalCall(const JournalCall&) = delete;
    JournalCall& operator=(const JournalCall&) = delete;

    const Board& board() const { return currentBoard; }
    /// Notes the result and gives it back.
    template <typename Result>
    Result Return(const Result& result) {
        line["result"] = result;
        return result;
    }
    void ReturnName(const char* name) { line["result"] = name; }
    /// Notes an argument that the call gave back.
    void Argument(const char* name, nlohmann::ordered_json value) {
        line["arguments"][name] = std::move(value);
    }
    /// Notes what the caller did wrong.
    void Violation(const std::string& what) { line["violation"] = what; }

  private:
    void WriteLine() const;

    Board currentBoard;
    nlohmann::ordered_json line;
};

/// Journals a call of an operation that the simulation does not know, as a violation.
void JournalReservedCall(const char* library, const char* operation);

/// A text argument as the journal shows it; null for a null pointer.
nlohmann::ordered_json TextArgument(const char* text);
/// A pointer to an object as the journal shows it: the object's name; null for a null pointer.
nlohmann::ordered_json ObjectArgument(const void* pointer, const char* name);
/// Eight digits with "0x".
std::string HexadecimalText(uint32_t number);

}  // namespace Korr::Plim::Trace::Simulator
