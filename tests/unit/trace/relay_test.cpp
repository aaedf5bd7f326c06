// Hands work from thread to thread: all of it, in its order, and nothing is left on any way out.
#include "trace/relay.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Korr::Plim::Trace::Swo {
namespace {

constexpr size_t kSlots = 4;

/// Fills slots with 1, 2, 3 and so on.
struct Counting {
    bool operator()(int& slot) {
        if (filled == most) return false;
        slot = ++filled;
        return true;
    }
    int most;
    std::atomic<int> filled = 0;
};

TEST(Relay, HandsAllOverInItsOrder) {
    Relay<int> relay(kSlots);
    for (const int most : {0, 1, 3, 4, 5, 1000}) {
        Counting count{most};
        int next = 0;
        const bool done = relay.Run(std::ref(count), [&](const int& slot) { EXPECT_EQ(slot, ++next); });
        EXPECT_TRUE(done);
        EXPECT_EQ(next, most);
    }
}

TEST(Relay, FillsNoMoreThanItsSlotsAhead) {
    Relay<int> relay(kSlots);
    Counting fill{200};
    int taken = 0;
    relay.Run(std::ref(fill), [&](const int&) {
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        EXPECT_LE(fill.filled, taken + static_cast<int>(kSlots));
        ++taken;
    });
    EXPECT_EQ(taken, 200);
}

TEST(Relay, FillsOnAThreadAndTakesOnTheCallers) {
    Relay<std::thread::id> relay(2);
    std::atomic<bool> onAnother = false;
    const auto fill = [&](std::thread::id& slot) {
        slot = std::this_thread::get_id();
        return !onAnother;
    };
    const auto begun = std::this_thread::get_id();
    relay.Run(fill, [&](const std::thread::id& slot) {
        EXPECT_EQ(std::this_thread::get_id(), begun);
        onAnother = onAnother || slot != begun;
        std::this_thread::yield();
    });
    EXPECT_TRUE(onAnother);
}

template <class Call>
std::string Thrown(Call&& call) {
    try {
        call();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing";
}

TEST(Relay, GivesOnWhatFillingHasThrownBehindWhatWasFilled) {
    Relay<int> relay(kSlots);
    int taken = 0;
    int filled = 0;
    const auto fill = [&](int& slot) {
        if (filled == 10) throw std::runtime_error("filling");
        slot = ++filled;
        return true;
    };
    EXPECT_EQ(Thrown([&] { relay.Run(fill, [&](const int& slot) { taken = slot; }); }), "filling");
    EXPECT_EQ(taken, 10);
    Counting next{7};
    EXPECT_TRUE(relay.Run(std::ref(next), [&](const int& slot) { taken = slot; })) << "it can be used again";
    EXPECT_EQ(taken, 7);
}

TEST(Relay, EndsItsThreadWhenTakingThrows) {
    for (const int at : {1, 2, 9}) {
        Relay<int> relay(kSlots);
        Counting fill{1000000};
        const auto take = [&](const int& slot) {
            if (slot != at) return;
            while (at == 1 && fill.filled < static_cast<int>(kSlots)) std::this_thread::yield();  // it waits
            throw std::runtime_error("taking");
        };
        EXPECT_EQ(Thrown([&] { relay.Run(std::ref(fill), take); }), "taking");
        const int filled = fill.filled;
        EXPECT_LE(filled, at + static_cast<int>(kSlots));
        Counting next{3};
        int taken = 0;
        EXPECT_TRUE(relay.Run(std::ref(next), [&](const int& slot) { taken = slot; }));
        EXPECT_EQ(taken, 3);
        EXPECT_EQ(fill.filled, filled) << "of the first nothing is filled any more";
    }
}

TEST(Relay, TakersErrorComesBeforeTheFillers) {
    Relay<int> relay(kSlots);
    auto fill = [filled = 0](int&) mutable -> bool {
        if (filled++ == 2) throw std::runtime_error("filling");
        return true;
    };
    EXPECT_EQ(Thrown([&] { relay.Run(fill, [](const int&) { throw std::runtime_error("taking"); }); }),
              "taking");
}

/// What std::thread is where no thread can be had.
struct NoThread {
    NoThread() = default;
    template <class Call>
    explicit NoThread(Call&&) {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    }
    bool joinable() const { return false; }
    void join() {}
};

TEST(Relay, DoesNothingWhereThereIsNoThread) {
    Relay<int, NoThread> relay(kSlots);
    Counting fill{10};
    EXPECT_FALSE(relay.Run(std::ref(fill), [](const int&) { ADD_FAILURE() << "taken"; }));
    EXPECT_EQ(fill.filled, 0);
}

}  // namespace
}  // namespace Korr::Plim::Trace::Swo
