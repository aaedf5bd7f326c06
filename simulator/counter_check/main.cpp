// usage: counter_check FILE
//
// Compares a file with the numbered pattern from its beginning. Standard output: {"bytes", "lost", "doubled",
// "changed", "faults"}. Exit status: 0 identical, 1 not identical, 2 wrong usage or unreadable file.
#include <array>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>

#include "simulator/swosource/signal/counter_verifier.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: counter_check FILE\n", stderr);
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    Korr::Plim::Trace::Simulator::CounterVerifier verifier;
    std::array<char, 65536> buffer{};
    while (file.read(buffer.data(), buffer.size()) || file.gcount() > 0) {
        verifier.Feed(reinterpret_cast<const uint8_t*>(buffer.data()), static_cast<size_t>(file.gcount()));
    }
    if (file.bad() || !file.eof()) {
        std::fprintf(stderr, "counter_check: %s cannot be read\n", argv[1]);
        return 2;
    }
    verifier.Finish();
    const nlohmann::ordered_json found{{"bytes", verifier.Bytes()},
                                       {"lost", verifier.Lost()},
                                       {"doubled", verifier.Doubled()},
                                       {"changed", verifier.Changed()},
                                       {"faults", verifier.Faults()}};
    std::printf("%s\n", found.dump().c_str());
    return verifier.Clean() ? 0 : 1;
}
