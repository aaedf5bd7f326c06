#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "source_utilities/uMutex.h"

namespace KORR_PLIM {

/// A buffered file stream behind a mutex, so that one uFile can be written from several threads. The
/// destructor does not close the stream: the owner calls Close.
class uFile {
  public:
    /// Opens nothing. \param name null gives the empty name \param mode kept by pointer, must outlive the
    /// object
    explicit uFile(const char* name = nullptr, const char* mode = "r");
    virtual ~uFile();
    uFile(const uFile&) = delete;
    uFile& operator=(const uFile&) = delete;

    /// Opens, shared for reading and writing by others. An open stream is closed first.
    /// \param name null clears the name (and fails) \param mode kept by pointer; null fails
    bool Open(const char* name, const char* mode);
    /// Closes. False without a stream; true otherwise, but the file stays reported open when the close
    /// failed.
    bool Close();
    bool Flush();
    /// Writes `count` bytes, at most 2,147,483,647. \return bytes written, 0 when not open
    int32_t Write(const void* buffer, std::size_t count);
    /// Writes a zero-terminated text without adding a line end. False for null.
    bool WriteString(const char* text);
    /// Length of the stream's file in bytes; -1 without a stream. Takes no lock: not
    /// to be called while another thread opens or closes.
    int64_t Length() const;
    bool IsOpen() const { return isOpen; }

  private:
    std::atomic<bool> isOpen{false};
    std::string fileName;
    const char* mode;
    std::FILE* stream = nullptr;
    uMutex mutex;
};

}  // namespace KORR_PLIM
