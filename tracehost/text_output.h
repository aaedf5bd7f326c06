#pragma once

#include <cstdio>
#include <string>

#include "exports/output.h"

namespace Korr::Plim::Trace::Tracehost {

/// A file that a command writes, or standard output. A file that it has made and nothing was written into is
/// removed unless it is finished: of a command that is refused nothing is left.
class TextOutput : public Exports::Output {
  public:
    /// \param name "-": standard output, which no library of the process writes on from then on
    /// \param force whether a file that is there is replaced \throws UsageError
    TextOutput(const std::string& name, bool force);
    ~TextOutput() override;
    TextOutput(const TextOutput&) = delete;
    TextOutput& operator=(const TextOutput&) = delete;

    void Write(const char* bytes, std::size_t count) override { std::fwrite(bytes, 1, count, stream); }
    void Print(const std::string& text) { Write(text.data(), text.size()); }
    /// Hands on at once what was written. A reader that went away shows in Finish.
    void Flush() { std::fflush(stream); }
    /// Whether nothing more can be written.
    bool Failed() const { return std::ferror(stream) != 0; }
    bool OnTerminal() const;
    std::FILE* Stream() const { return stream; }
    /// Ends the output. \throws HostError when something of it could not be written
    void Finish();

  private:
    std::string fileName;  ///< empty: standard output
    bool made = false;     ///< the file: there was none
    std::FILE* stream = nullptr;
};

}  // namespace Korr::Plim::Trace::Tracehost
