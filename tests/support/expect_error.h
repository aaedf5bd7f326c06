#pragma once

#include <gtest/gtest.h>

#include <string>

#include "host_api/cPelkitError.h"
#include "simulator/pelkit/error_reading.h"

namespace support {

/// Runs an action that must throw cPelkitError of severity 2. \return its text; empty, and the test has
/// failed, when it did anything else
template <typename Action>
std::string ErrorOf(Action&& action) {
    try {
        action();
    } catch (const cPelkitError& error) {
        EXPECT_EQ(pelkit::SeverityOf(error), cPelkitErrorIF::eSEVERITY_ERROR);
        return pelkit::TextOf(error);
    }
    ADD_FAILURE() << "no error was thrown";
    return {};
}

}  // namespace support
