#pragma once

#include <cstdio>
#include <string>

#include "exports/output.h"

namespace Korr::Plim::Trace::Tracehost {

/// A file that a command writes, or standard output. A file that it has made is removed when nothing was
/// written into it and it is not finished, and one that is replaced stays as it is until something is
/// written: of a command that is refused nothing is left, and nothing is lost.
class TextOutput : public Exports::Output {
  public:
    /// \param name "-": standard output, which no library of the process writes on from then on
    /// \param force whether a file that is there is replaced \throws UsageError
    TextOutput(const std::string& name, bool force);
    ~TextOutput() override;
    TextOutput(const TextOutput&) = delete;
    TextOutput& operator=(const TextOutput&) = delete;

    void Write(const char* bytes, std::size_t count) override {
        if (stream == nullptr) Open();
        std::fwrite(bytes, 1, count, stream);
    }
    void Print(const std::string& text) { Write(text.data(), text.size()); }
    /// Hands on at once what was written. A reader that went away shows in Finish.
    void Flush() {
        if (stream != nullptr) std::fflush(stream);
    }
    /// Whether nothing more can be written.
    bool Failed() const { return stream != nullptr && std::ferror(stream) != 0; }
    bool OnTerminal() const;
    /// Null as long as nothing was written into a file that is replaced.
    std::FILE* Stream() const { return stream; }
    /// Ends the output. \throws HostError when something of it could not be written
    void Finish();

  private:
    void Open();

    std::string fileName;  ///< empty: standard output
    bool made = false;     ///< the file: there was none
    std::FILE* stream = nullptr;
};

}  // namespace Korr::Plim::Trace::Tracehost
