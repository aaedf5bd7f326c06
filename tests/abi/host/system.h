#pragma once

#include <stdarg.h>
#include <string.h>

#include <cstddef>
#include <cstdint>

/// \file
/// What the host needs of Windows and of the C runtime: it is compiled without any of their headers but
/// system.cpp.

namespace host {

/// A file's bytes; freed with the object. bytes[length] is zero. No bytes: the file cannot be read.
class File {
  public:
    explicit File(const char* name);
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    char* bytes = nullptr;
    size_t length = 0;
};

/// A text that is put together; freed with the object.
class Line {
  public:
    Line(const char* format, ...);
    ~Line();
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;
    operator const char*() const { return text; }

  private:
    char* text;
};

void Print(const char* format, ...);
/// Cuts what does not fit.
void Format(char* room, size_t size, const char* format, va_list arguments);
/// Prints a message and ends the process, as failed.
[[noreturn]] void Fail(const char* message);
/// Ends the process without unloading anything.
[[noreturn]] void End(uint32_t status);

void Increment(volatile long* number);
void Decrement(volatile long* number);

/// The words of the command line behind the program's name, without quotes. \return their number
int Arguments(const char** words, int room);
/// "" for a variable that is not set. Valid until the next call.
const char* Variable(const char* name);
void SetVariable(const char* name, const char* value);
/// The folder of this program, ended by a backslash.
const char* ProgramFolder();

void* LoadModule(const char* name);
void* FindSymbol(void* module, const char* name);
void UnloadModule(void* module);

bool WriteWholeFile(const char* name, const void* bytes, size_t length);
bool Exists(const char* name);
void Remove(const char* name);
void Rename(const char* from, const char* to);
void MakeFolder(const char* name);
/// The name of the first file that the pattern finds, without its folder; "" when there is none. Valid until
/// the next call.
const char* FirstFile(const char* pattern);

void Wait(uint32_t milliseconds);
/// Milliseconds since some moment.
uint32_t Clock();
/// Runs a function on `count` threads at once, and waits for them all.
void RunOnThreads(int count, void (*function)(int thread));

/// Runs this program with the arguments. \param checkHeap the system looks at what is behind the blocks of
/// the heap, and at freed ones \return the exit status
uint32_t RunSelf(const char* arguments, bool checkHeap);
/// Whether the system does so in this process.
bool HeapIsChecked();
/// Whether the C runtime's heap is without a fault.
bool HeapIsSound();
/// Blocks in use in the C runtime's heap.
uint32_t HeapBlocks();
/// Bytes of a block of the C runtime's heap as they were asked for; 0 when it is no such block.
size_t BlockSize(const void* block);
/// Whether a block of at least 24 bytes was given back, where the system looks at freed blocks: it fills
/// them.
bool IsFreed(const void* block);

}  // namespace host
