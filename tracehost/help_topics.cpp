#include "tracehost/help_topics.h"

namespace Korr::Plim::Trace::Tracehost {

namespace {

constexpr const char* kLoss =
    R"(What was lost, and how it is known

Trace can be lost at three places, and "tracehost report" tells them apart:

  in the target      the ITM's or DWT's buffer was full. The target says so itself (overflow packet).
  between pin        bytes did not reach the file: the probe's or the driver's buffer ran full, a byte was
  and file           changed on the line. The bytes that did come no longer fit together.
  on the host        the port's driver counted overruns or errors of the line, where it tells (Linux; a
                     pseudo-terminal and Windows do not). It is looked at ten times a second: a loss stands at the
                     end of what had come when it was noticed.

A recording begins and ends somewhere inside the stream: "start inside a packet" and "the recording ends inside a
packet" are no loss.

How likely a hole is noticed

No decoder sees every hole. When bytes are missing, what stands before and behind the hole may still read as whole
packets. So every report tells with which probability a hole would have been noticed in that recording: 200 holes are
cut into its beginning, at places and of lengths by chance, and those are counted that leave a mark. Some leave damage,
which counts as lost; some only an order or a kind of packet never seen before, which is given as a hint, because a
target may do something new.

What raises the probability:

  --counter-port N   Let the firmware write a number that counts up by one to stimulus port N. Then every hole with
                     at least one such number in it is seen, and how many are missing is exact (modulo 2^8, 2^16 or
                     2^32, whatever is written).
  timestamps         Local timestamps (ITM_TCR.TSENA) behind every packet make more holes visible, and the number of
                     suspect packets before a hole small.
  synchronisation    ITM_TCR.SYNCENA and DWT_CTRL.SYNCTAP bring the decoder back into step for sure. Without it step
                     is found by what the recording showed before (such packets are marked "salvaged").
  global timestamps  tell how much time a hole took, and show a hole that took local timestamps with it: when the two
                     have agreed four times and then do not, the difference is told as loss.

More is told as hints, for a target may do so: a source that came at equal distances a hundred times and then misses
some of them; a line that was busy and then silent for more than 50 ms; the exit of an exception that was not entered
since the last return to thread mode; upper bits of the global time that come neither in 4 nor in 6 bytes.

What may be wrong around a hole

Packets between the last timestamp or synchronisation and a hole are marked "suspect": the hole may have joined two
packets into one that was never sent. Packets behind it are right from at most 300 bytes on.

Exit status: 3 when bytes were lost between pin and file; with --fail-on any also when the target dropped packets; with
--fail-on never neither 3 nor 4 is given.
)";

}  // namespace

const char* HelpTopic(const std::string& name) { return name == "loss" ? kLoss : nullptr; }

}  // namespace Korr::Plim::Trace::Tracehost
