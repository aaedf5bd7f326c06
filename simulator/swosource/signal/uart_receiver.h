#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace Korr::Plim::Trace::Simulator {

/// What a UART receiver (8 data bits, no parity, 1 stop bit) makes of a line whose sender runs at another
/// rate: it waits for a falling edge and samples ten times, half a bit of its own after the edge and then a
/// bit apart. A byte without its stop bit is delivered as it was sampled; the next one then begins after the
/// line was high.
class UartReceiver {
  public:
    /// Both in baud, greater than 0.
    UartReceiver(double senderBaud, double receiverBaud) : bitLength(senderBaud / receiverBaud) {}

    /// The sender sends a byte directly after the one before. Appends to `received` what is complete by then.
    void Send(uint8_t byte, std::vector<uint8_t>& received);
    /// The line stays idle for some of the sender's bit times.
    void Idle(int bits, std::vector<uint8_t>& received);
    /// Bytes that came without a stop bit.
    uint64_t FramingErrors() const { return framingErrors; }

  private:
    void SendBit(bool high, std::vector<uint8_t>& received);
    void Receive(std::vector<uint8_t>& received);
    bool LevelAt(double time) const { return line[static_cast<size_t>(time - begin)]; }
    void TakeSample(std::vector<uint8_t>& received);

    double bitLength;  ///< of the receiver, in bit times of the sender
    std::deque<bool> line{true};
    double begin = 0;  ///< time of the first level in `line`, in bit times of the sender
    double now = 0;    ///< of the receiver: the next edge to look at, or the next sample
    double edge = 0;   ///< at which the byte under way began
    int sample = -1;   ///< number of the next sample of a byte, -1 between bytes
    bool seenHigh = true;
    unsigned shift = 0;
    uint64_t framingErrors = 0;
};

}  // namespace Korr::Plim::Trace::Simulator
