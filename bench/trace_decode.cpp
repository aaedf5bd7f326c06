// What decoding a stream costs, beside a loop that does no more than look every byte up in a table. Google
// Benchmark; `allocations` counts those while a whole stream is decoded.

#include <benchmark/benchmark.h>

#include <random>

#include "bench/allocation_count.h"
#include "bench/trace_streams.h"
#include "trace/capture_decoder.h"
#include "trace/packet_timer.h"

namespace {

using namespace Korr::Plim::Trace::Swo;
using Bytes = std::vector<uint8_t>;

constexpr size_t kBlock = 65536;
constexpr size_t kMebibyte = size_t{1} << 20;

/// Counts packets by kind and mixes their contents, so that nothing is optimised away.
struct Counts {
    void OnPacket(const Packet& packet) {
        ++kinds[static_cast<size_t>(packet.kind)];
        mix ^= packet.value + packet.source;
    }
    void OnPacket(const Packet& packet, const PacketTime& time) {
        OnPacket(packet);
        mix ^= time.ticks;
    }
    void OnFrameStep(const FrameStep&) {}
    uint64_t Packets() const {
        uint64_t all = 0;
        for (const uint64_t kind : kinds) all += kind;
        return all;
    }

    std::array<uint64_t, kPacketKinds> kinds{};
    uint64_t mix = 0;
};

template <class Decoder>
void FeedAll(Decoder& decoder, const Bytes& stream) {
    for (size_t at = 0; at < stream.size(); at += kBlock) {
        decoder.Feed({&stream[at], std::min(kBlock, stream.size() - at)});
    }
    decoder.Finish();
}

/// Runs decode(stream, counts) again and again.
template <class Decode>
void Measure(benchmark::State& state, const Bytes& stream, Decode&& decode) {
    uint64_t packets = 0;
    uint64_t allocations = 0;
    for (auto _ : state) {
        Counts counts;
        allocations = decode(stream, counts);
        packets = counts.Packets();
        benchmark::DoNotOptimize(counts.mix);
        if (counts.kinds[static_cast<size_t>(PacketKind::Malformed)] != 0) {
            state.SkipWithError("malformed packets");
        }
    }
    if (packets == 0) state.SkipWithError("no packets");
    state.counters["bytes"] = static_cast<double>(stream.size());
    state.counters["packets"] = static_cast<double>(packets);
    state.counters["allocations"] = static_cast<double>(allocations);
}

/// The allocations of this.
template <class Work>
uint64_t CountAllocations(Work&& work) {
    const uint64_t before = bench::Allocations();
    work();
    return bench::Allocations() - before;
}

uint64_t DecodePlain(const Bytes& stream, Counts& counts) {
    return CountAllocations([&] {
        ItmDecoder<Counts> decoder(counts);
        FeedAll(decoder, stream);
    });
}

uint64_t DecodeWithTimes(const Bytes& stream, Counts& counts) {
    return CountAllocations([&] {
        PacketTimer<Counts> timer(counts);
        ItmDecoder<PacketTimer<Counts>> decoder(timer);
        FeedAll(decoder, stream);
        timer.Flush();
    });
}

uint64_t DecodeFrames(const Bytes& stream, Counts& counts) {
    CaptureDecoder<Counts> decoder(counts);
    const size_t first = std::min(stream.size(), 2 * kMostAligned);  // for which memory is allocated
    decoder.Feed({stream.data(), first});
    return CountAllocations([&] {
        for (size_t at = first; at < stream.size(); at += kBlock) {
            decoder.Feed({&stream[at], std::min(kBlock, stream.size() - at)});
        }
        decoder.Finish();
    });
}

void TraceMixed(benchmark::State& state) {
    Measure(state, bench::MixedStream(static_cast<size_t>(state.range(0)) * kMebibyte), DecodePlain);
}
BENCHMARK(TraceMixed)->RangeMultiplier(4)->Range(1, 64);

void TraceMixedWithTimes(benchmark::State& state) {
    Measure(state, bench::MixedStream(16 * kMebibyte), DecodeWithTimes);
}
BENCHMARK(TraceMixedWithTimes);

void TraceEvents(benchmark::State& state) { Measure(state, bench::EventStream(16 * kMebibyte), DecodePlain); }
BENCHMARK(TraceEvents);

void TraceFrames(benchmark::State& state) {
    Measure(state, bench::FramedStream(64 * kMebibyte), DecodeFrames);
}
BENCHMARK(TraceFrames);

void TraceNoise(benchmark::State& state) {
    std::mt19937 random(4);
    Bytes stream(4 * kMebibyte);
    for (uint8_t& byte : stream) byte = static_cast<uint8_t>(random());
    for (auto _ : state) {
        Counts counts;
        DecodePlain(stream, counts);
        benchmark::DoNotOptimize(counts.mix);
    }
    state.counters["bytes"] = static_cast<double>(stream.size());
}
BENCHMARK(TraceNoise);

void TraceByteLoop(benchmark::State& state) {
    const Bytes stream = bench::MixedStream(16 * kMebibyte);
    for (auto _ : state) {
        std::array<uint64_t, 16> actions{};
        for (const uint8_t byte : stream) ++actions[static_cast<size_t>(kHeadersArmv8M[byte].action)];
        benchmark::DoNotOptimize(actions);
    }
    state.counters["bytes"] = static_cast<double>(stream.size());
}
BENCHMARK(TraceByteLoop);

}  // namespace

BENCHMARK_MAIN();
