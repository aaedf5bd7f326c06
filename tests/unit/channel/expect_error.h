#pragma once

#include <gtest/gtest.h>

#include <string>

#include "host_api/cPelkitError.h"

namespace channel_tests {

/// Text of the host's error that an action throws; every such error must have severity 2.
template <typename Action>
std::string ErrorOf(Action action) {
    try {
        action();
    } catch (const cPelkitError& error) {
        EXPECT_EQ(error.GetSeverity(), cPelkitErrorIF::eSEVERITY_ERROR);
        return error.GetText();
    }
    return "nothing was thrown";
}

}  // namespace channel_tests
