#pragma once

#include <cstdint>
#include <string>

#include "source_utilities/dynamic_library.h"

namespace KORR_PLIM {

/// One dynamic library, loaded by base name, unloaded with the object. No operation throws: failures are a
/// false or null result, with their text in Error().
class uDll {
  public:
    /// Load mode that stands for "as it is".
    static constexpr uint32_t kDefaultMode = 0xFFFFFFFF;

    /// Loads nothing. \param name may be null
    explicit uDll(const char* name = nullptr, uint32_t mode = kDefaultMode);
    virtual ~uDll();
    uDll(const uDll&) = delete;
    uDll& operator=(const uDll&) = delete;

    /// Loads the library unless this object has one already; logs how it was looked for. A working folder
    /// that cannot be read is logged as an empty one and does not keep the library from loading.
    /// \param name null gives false
    bool FindAndLoad(const char* name, uint32_t mode) noexcept;
    /// The platform's file name for a library name: name + "." + extension unless it holds the extension
    /// already.
    static std::string GetPlatformName(const std::string& name);
    /// Loads by the name that the platform's loader gets; a library loaded before is unloaded first.
    bool Load(const char* fileName, uint32_t mode) noexcept;
    /// Address of an exported entry point, or null. Null counts as the empty name.
    void* GetSymbol(const char* entryName) noexcept;
    /// Text of the last failure, empty after a success. The object keeps its own copy.
    const std::string& Error() const { return error; }
    /// The name as given to the platform's loader, without extension.
    const std::string& Name() const { return name; }
    uint32_t Mode() const { return mode; }

  private:
    bool Search(const char* libraryName, uint32_t loadMode);
    bool Open(const char* fileName, uint32_t loadMode);
    void* Find(const char* entryName);

    std::string name;
    uint32_t mode;  ///< recorded and logged; does not change how the library is loaded
    platform::LibraryHandle module = platform::kNoLibrary;
    std::string error;
};

}  // namespace KORR_PLIM
