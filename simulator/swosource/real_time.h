#pragma once

#include <cstdint>

namespace Korr::Plim::Trace::Simulator {

/// Nanoseconds between two looks at a target and a reader while nothing is sent.
inline constexpr int64_t kRestingStep = 20'000'000;

/// Steady time in nanoseconds.
int64_t SteadyNow();
/// Sleeps until the steady time is reached, or a signal arrives.
void SleepUntil(int64_t time);
/// Asks for the lowest real-time priority, else for a higher ordinary one, for this thread and those that it
/// starts. \return whether real time was granted
bool AskForRealTime();

}  // namespace Korr::Plim::Trace::Simulator
