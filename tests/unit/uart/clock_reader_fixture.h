#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <string>

#include "tests/fakes/host_objects.h"
#include "tests/support/expect_error.h"
#include "tests/support/log_lines.h"

namespace clock_readers {

inline constexpr const char* kClockError =
    "Could not determine the System clock frequency automatically. Please set it manually in the receiver "
    "properties.";
inline constexpr const char* kNoInformation = "Internal error: Device information could not be parsed";
inline constexpr const char* kNoModule =
    "Internal error: Trace clock freq could not be deftermined for this device";

/// A target whose clock registers a test sets by name.
class ClockReader : public testing::Test {
  protected:
    fakes::CallJournal journal;
    fakes::FakeDeviceIdentifier identifier{journal};
    fakes::FakeMemoryAccessor memory{journal};
    support::LogLines log;

    /// Places a register of the clock module and sets its value.
    void Register(const std::string& name, uint32_t address, uint32_t value) {
        identifier.AddClockRegister(name, address);
        memory.words[address] = value;
    }
    static constexpr uint32_t Field(uint32_t value, unsigned lowBit) { return value << lowBit; }
};

}  // namespace clock_readers
