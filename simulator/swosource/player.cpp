#include "simulator/swosource/player.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "simulator/swosource/real_time.h"

namespace Korr::Plim::Trace::Simulator {
namespace {

constexpr int64_t kMicrosecond = 1000;
constexpr int64_t kMillisecond = 1000 * kMicrosecond;
constexpr int64_t kStep = 500 * kMicrosecond;
/// Between two looks at board, TPIU and line settings.
constexpr int64_t kWatchEvery = 20 * kMillisecond;
/// A longer step was not the wire's time but our own lag.
constexpr int64_t kLongestStep = 2 * kMillisecond;
/// A reader that takes nothing for so long at the end has left the rest behind.
constexpr int64_t kPatience = 2000 * kMillisecond;
constexpr double kTolerance = 0.03;
constexpr size_t kMostPerStep = 1 << 20;

std::ofstream OpenRecord(const std::string& path) {
    std::ofstream file;
    if (path.empty()) return file;
    file.open(path, std::ios::binary | std::ios::trunc);
    if (!file) throw std::runtime_error(path + ": cannot be written");
    return file;
}

void Write(std::ofstream& file, std::span<const uint8_t> bytes) {
    if (!file.is_open()) return;
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!file) throw std::runtime_error("writing a record failed");
}

}  // namespace

Player::Player(const Settings& given, ByteSource& bytes)
    : settings(given),
      source(bytes),
      target(given),
      record(OpenRecord(given.record)),
      recordTaken(OpenRecord(given.recordTaken)),
      terminal(given.link),
      farEnd(terminal),
      probe(given.probeBuffer),
      clock(kLongestStep) {}

void Player::Play(const std::atomic<bool>& stop) {
    int64_t wake = SteadyNow();
    while (!stop && !Done()) {
        Step(SteadyNow());
        const bool silent = IsSilent();
        farEnd.Rest(silent);
        wake = std::max(wake + (silent ? kRestingStep : kStep), SteadyNow());
        SleepUntil(wake);
    }
    Drain(stop);
    if (!record.flush() || !recordTaken.flush()) throw std::runtime_error("writing a record failed");
}

/// Nothing is sent, and all that was sent is read.
bool Player::IsSilent() const { return !target.Current().enabled && probe.Waiting() + unread == 0; }

bool Player::Done() const {
    return sourceEnded || (settings.bytes && played >= *settings.bytes) ||
           (settings.seconds && clock.WireSeconds() >= *settings.seconds);
}

void Player::Step(int64_t now) {
    if (now >= nextLook) LookAround(now);
    if (now - lastStep > kLongestStep) farEnd.Look();  // its observer was kept from running, too
    lastStep = now;
    unread = farEnd.Unread();
    attended = terminal.Attended();
    if (target.Current().enabled) {
        CompareRates();
        SendOnWire(Due(now));
    } else {
        clock.Rest(now);
    }
    HandOver();
}

void Player::LookAround(int64_t now) {
    const bool wasSilent = !target.Current().enabled;
    target.Refresh();
    if (wasSilent) {  // the line may begin now: no old baud rate, and no time that was rest
        farEnd.Look();
        clock.Rest(now);
    }
    nextLook = now + kWatchEvery;
}

void Player::CompareRates() {
    lineBaud = target.Current().lineBaud;
    source.SetByteTime(target.Current().byteTime);
    farEndBaud = farEnd.Baud();
    const double receiver = farEndBaud;
    const bool same =
        !settings.checkBaud || lineBaud <= 0 || std::abs(receiver - lineBaud) <= kTolerance * lineBaud;
    if (same || receiver <= 0) {
        garbler.reset();
    } else if (garbler == nullptr || garblerBaud != lineBaud || garblerFarEnd != receiver) {
        garbler = std::make_unique<UartReceiver>(lineBaud, receiver);
        garblerBaud = lineBaud;
        garblerFarEnd = receiver;
    }
}

/// Bytes that the wire has carried since the last step.
uint64_t Player::Due(int64_t now) {
    double rate = target.Current().lineBaud / 10;
    if (settings.pace == Settings::Pace::kFixed) rate = settings.bytesPerSecond;
    uint64_t due = clock.Advance(now, settings.pace == Settings::Pace::kMax ? 0 : rate);
    if (settings.pace == Settings::Pace::kMax) {
        const size_t most = std::min(PseudoTerminal::kMostReady, probe.Size());
        due = most - std::min(probe.Waiting() + unread, most);
    }
    if (settings.bytes) due = std::min(due, *settings.bytes - played);
    return std::min<uint64_t>(due, kMostPerStep);
}

void Player::SendOnWire(uint64_t count) {
    std::vector<uint8_t> bytes(count);
    bytes.resize(source.Read(bytes.data(), count));
    sourceEnded = bytes.size() < count;
    played += bytes.size();
    Write(record, bytes);
    ReceiveFromWire(bytes);
}

void Player::ReceiveFromWire(const std::vector<uint8_t>& bytes) {
    if (garbler == nullptr) {
        probe.Receive(bytes, unread, attended);
        return;
    }
    std::vector<uint8_t> received;
    const uint64_t before = garbler->FramingErrors();
    for (const uint8_t byte : bytes) garbler->Send(byte, received);
    framingErrors += garbler->FramingErrors() - before;
    garbled += bytes.size();
    probe.Receive(received, unread, attended);
}

void Player::HandOver() {
    const size_t most = std::min(PseudoTerminal::kMostReady, probe.Size());
    while (unread < most && probe.Waiting() > 0) {
        const auto front = probe.Front(most - unread);
        const size_t taken = terminal.Write(front);
        if (taken == 0) return;
        Write(recordTaken, front.first(taken));
        probe.Remove(taken);
        handedOver += taken;
        farEnd.Written(handedOver);
        unread += taken;
    }
}

/// A second stop request ends the waiting.
void Player::Drain(const std::atomic<bool>& stop) {
    farEnd.Stop();
    const bool stopped = stop;
    int64_t lastProgress = SteadyNow();
    size_t lastLeft = SIZE_MAX;
    for (;;) {
        terminal.Settle();
        unread = terminal.Unread();
        HandOver();
        const size_t left = probe.Waiting() + unread;
        const int64_t now = SteadyNow();
        if (left < lastLeft) lastProgress = now;
        lastLeft = std::min(lastLeft, left);
        const bool hopeless = !terminal.Attended() || now - lastProgress > kPatience || (stop && !stopped);
        if (left == 0 || hopeless) break;
        SleepUntil(now + kStep);
    }
    const size_t back = terminal.TakeBack();
    handedOver -= back;
    probe.GiveUp(back, terminal.Attended());
}

nlohmann::ordered_json Player::Report() const {
    using Json = nlohmann::ordered_json;
    Json gaps = Json::array();
    for (const Overrun& gap : probe.Overruns()) {
        gaps.push_back({{"offset", gap.offset}, {"length", gap.length}});
    }
    const double wire = clock.WireSeconds();
    return {
        {"pattern", settings.stream.empty() ? settings.pattern : "stream"},
        {"line_baud", lineBaud},
        {"far_end_baud", farEndBaud},
        {"played", played},
        {"sent", probe.Received()},
        {"taken", handedOver},
        {"dropped", probe.Dropped()},
        {"dropped_unattended", probe.Unattended()},
        {"left_behind", probe.LeftBehind()},
        {"overruns", {{"count", probe.OverrunCount()}, {"longest", probe.LongestOverrun()}, {"gaps", gaps}}},
        {"garbled", garbled},
        {"framing_errors", framingErrors},
        {"wire_seconds", wire},
        {"bytes_per_second", wire > 0 ? static_cast<double>(played) / wire : 0},
        {"lag",
         {{"count", clock.Lags()},
          {"total_ms", clock.LagSeconds() * 1e3},
          {"longest_ms", clock.LongestLagSeconds() * 1e3}}},
        {"probe_buffer", {{"size", probe.Size()}, {"most_waiting", probe.MostWaiting()}}},
        {"content", source.Content()},
    };
}

}  // namespace Korr::Plim::Trace::Simulator
