#pragma once

#include <cstddef>
#include <cstdint>

/// \file
/// What the host's libraries are to answer, and what they were asked. Kept in pelkit.dll, which all of them
/// load.

/// A place in the host's libraries that the plug-in calls.
enum class Place : uint32_t {
    Nowhere,
    CreateSetupAdapter,
    Initialise,
    GetSetupFile,
    DestroySetupAdapter,
    CreateDeviceIdentifier,
    Match,
    GetDeviceInformation,
    GetModule,
    GetRegisterAddress,
    DestroyDeviceIdentifier,
    NewTargetAdapter,
    ReadMemory,
    TargetAdapter,  ///< its slot 0; the others follow
    End = TargetAdapter + 10
};

enum class Thrown { Nothing, HostsError, Integer, StandardException };

struct Text {
    const char* bytes;
    size_t length;
};

struct Script {
    bool rawTables;  ///< the libraries' objects have tables made by hand instead of the interfaces' classes
    Place throwAt;
    Thrown thrown;
    uint32_t calls[static_cast<uint32_t>(Place::End)];
    Text initialiseError;  ///< without bytes: Initialise succeeds
    Text setupFile;
    Text registerAddress;
    Text cpu;             ///< what the plug-in has to ask for
    uint32_t wrongNames;  ///< calls with another CPU, module or register name
    uint32_t device;      ///< the device's identification
    uint32_t word;        ///< what memory holds everywhere
    uint32_t address;     ///< of the last word read
};

#if defined(PELKIT_BUILD)
extern "C" __declspec(dllexport) Script* HostScript();
#else
extern "C" __declspec(dllimport) Script* HostScript();
#endif

constexpr int kThrownInteger = 4711;
constexpr const char* kThrownText = "thrown by a library of the host's";
