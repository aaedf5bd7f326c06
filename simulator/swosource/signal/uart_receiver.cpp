#include "simulator/swosource/signal/uart_receiver.h"

#include <cmath>

namespace Korr::Plim::Trace::Simulator {

void UartReceiver::Send(uint8_t byte, std::vector<uint8_t>& received) {
    SendBit(false, received);
    for (int bit = 0; bit < 8; ++bit) SendBit((byte >> bit & 1) != 0, received);
    SendBit(true, received);
}

void UartReceiver::Idle(int bits, std::vector<uint8_t>& received) {
    for (int i = 0; i < bits; ++i) SendBit(true, received);
}

void UartReceiver::SendBit(bool high, std::vector<uint8_t>& received) {
    line.push_back(high);
    Receive(received);
}

void UartReceiver::Receive(std::vector<uint8_t>& received) {
    while (now < begin + static_cast<double>(line.size())) {
        if (sample >= 0) {
            TakeSample(received);
        } else if (LevelAt(now)) {
            seenHigh = true;
            now = std::floor(now) + 1;
        } else if (!seenHigh) {
            now = std::floor(now) + 1;
        } else {
            edge = now;
            sample = 0;
            now = edge + bitLength / 2;
        }
        while (!line.empty() && now >= begin + 1 && line.size() > 1) {
            line.pop_front();
            begin += 1;
        }
    }
}

/// Sample 0 is the start bit (a high one was a glitch), 1 to 8 the data, 9 the stop bit.
void UartReceiver::TakeSample(std::vector<uint8_t>& received) {
    const bool high = LevelAt(now);
    if (sample == 0) shift = 0;
    if (sample >= 1 && sample <= 8 && high) shift |= 1U << (sample - 1);
    const bool glitch = sample == 0 && high;
    if (sample == 9) {
        received.push_back(static_cast<uint8_t>(shift));
        if (!high) ++framingErrors;
        seenHigh = high;
    }
    if (glitch || sample == 9) {
        sample = -1;
        return;
    }
    ++sample;
    now = edge + bitLength * (sample + 0.5);
}

}  // namespace Korr::Plim::Trace::Simulator
