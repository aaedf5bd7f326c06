#pragma once

#include "tests/fakes/scripted_serial_port.h"
#include "tests/second_reading/line_model.h"
#include "tests/second_reading/random.h"

namespace second_reading {

/// Settings of which every member is random.
LineState RandomLine(Random& random);
/// Mostly rates of real targets, some that are none.
double RandomClock(Random& random);
/// A port that takes every rate, or one of the ways in which drivers replace a rate.
std::function<uint32_t(uint32_t)> RandomRates(Random& random, double traceClock);
/// A device behind a port; few of its calls fail.
World RandomWorld(Random& random, double traceClock);
/// Puts the scripted port `number` and its calls into the world. Reads are left to the caller.
fakes::ScriptedPort& Script(const World& world, uint32_t number);

}  // namespace second_reading
