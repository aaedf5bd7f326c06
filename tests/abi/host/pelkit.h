#pragma once

#include <cstdint>
#include <string>

/// \file
/// The error library as its maker declares it. Nothing of the project's own declaration holds here but the
/// names: the errors have more operations, keep their text and severity elsewhere, and take all the room that
/// the plug-in leaves for them.

#if defined(PELKIT_BUILD)
#define PELKIT_CLASS __declspec(dllexport)
#else
#define PELKIT_CLASS __declspec(dllimport)
#endif

class PELKIT_CLASS cPelkitErrorIF {
  public:
    enum Severity_Type { eSEVERITY_NONE = 0, eSEVERITY_WARNING = 1, eSEVERITY_ERROR = 2 };

    cPelkitErrorIF();
    cPelkitErrorIF(const cPelkitErrorIF& other);
    virtual ~cPelkitErrorIF();
    virtual uint32_t Origin() const = 0;
    virtual const char* Message() const = 0;
    virtual void Annotate(const char* text) = 0;
    virtual Severity_Type Severity() const = 0;
    virtual void Delete() = 0;
};

class PELKIT_CLASS cPelkitError : public cPelkitErrorIF {
  public:
    cPelkitError(const char* text, Severity_Type severity);
    cPelkitError(const std::string& text, Severity_Type severity);
    cPelkitError(const cPelkitError& other);
    ~cPelkitError() override;
    uint32_t Origin() const override;
    const char* Message() const override;
    void Annotate(const char* text) override;
    Severity_Type Severity() const override;
    void Delete() override;

    /// Errors that are there now, in the whole process.
    static long Living();
    /// Errors that were made of a std::string.
    static long MadeOfStrings();

  private:
    uint32_t mark;
    std::string notes[30];
    std::string message;
    Severity_Type severity;
    uint64_t endMark;  ///< the last bytes
};
static_assert(sizeof(cPelkitError) == 1024);
