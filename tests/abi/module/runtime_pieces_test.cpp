// What msvc_abi/ brings in place of the pieces that the platform's compiler links into every module.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <typeinfo>
#include <vector>

namespace {

using namespace std::chrono_literals;

std::atomic<int> making{0};

struct SlowlyMade {
    explicit SlowlyMade(bool fails) {
        ++making;
        std::this_thread::sleep_for(20ms);
        if (fails) throw std::runtime_error("not made");
    }
    int value = 7;
};

int MadeOnce() {
    static const SlowlyMade object(false);
    return object.value;
}

int MadeAtTheThirdTry() {
    static std::atomic<int> tries{0};
    static const SlowlyMade object(++tries < 3);
    return object.value;
}

/// Runs an action on some threads at once.
template <typename Action>
void OnThreads(int count, const Action& action) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) threads.emplace_back(action);
    for (std::thread& thread : threads) thread.join();
}

TEST(LocalStatics, AreMadeOnceHoweverManyThreadsEnter) {
    making = 0;
    std::atomic<int> right{0};
    OnThreads(16, [&] { right += MadeOnce() == 7 ? 1 : 0; });
    EXPECT_EQ(right, 16);
    EXPECT_EQ(making, 1);
}

TEST(LocalStatics, ThatThrewAreMadeByTheNextToEnter) {
    making = 0;
    std::atomic<int> right{0};
    std::atomic<int> thrown{0};
    OnThreads(8, [&] {
        try {
            right += MadeAtTheThirdTry() == 7 ? 1 : 0;
        } catch (const std::runtime_error&) {
            ++thrown;
        }
    });
    EXPECT_EQ(thrown, 2);
    EXPECT_EQ(right, 6);
    EXPECT_EQ(making, 3);
}

thread_local int counter = 41;
thread_local std::uint64_t zeros[8];

TEST(ThreadLocals, EachThreadHasItsOwn) {
    ++counter;
    std::atomic<int> right{0};
    OnThreads(8, [&] {
        right += ++counter == 42 && zeros[7] == 0 ? 1 : 0;
        zeros[7] = 1;
    });
    EXPECT_EQ(right, 8);
    EXPECT_EQ(counter, 42);
    EXPECT_EQ(zeros[7], 0U);
}

int living = 0;
struct Counted {
    explicit Counted(int number) : value(number) { ++living; }
    Counted(const Counted& other) : value(other.value) { ++living; }
    Counted& operator=(const Counted&) = delete;
    virtual ~Counted() { --living; }
    int value;
};
int misplaced = 0;  // objects at addresses that are not aligned to what their type asks for
struct alignas(32) Derived : virtual Counted, std::runtime_error {
    Derived() : Counted(5), std::runtime_error("derived") {}
    Derived(const Derived& other) : Counted(other), std::runtime_error(other) {
        volatile const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(this);
        if (address % alignof(Derived) != 0) ++misplaced;
    }
};

TEST(ExceptionPointers, HoldACopyThatIsThrownAgainOnAnotherThread) {
    std::exception_ptr held;
    try {
        throw Derived();
    } catch (...) {
        held = std::current_exception();
    }
    EXPECT_EQ(living, 1);
    std::thread other([&] {
        try {
            std::rethrow_exception(held);
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "derived");
            EXPECT_EQ(dynamic_cast<const Counted&>(error).value, 5);
            EXPECT_STREQ(typeid(error).name(), typeid(Derived).name());
        }
    });
    other.join();
    EXPECT_EQ(living, 1);
    std::exception_ptr copy = held;
    EXPECT_EQ(copy, held);
    held = nullptr;
    EXPECT_FALSE(held);
    EXPECT_EQ(living, 1);
    copy = std::make_exception_ptr(std::string("another"));
    EXPECT_EQ(living, 0);
    EXPECT_THROW(std::rethrow_exception(copy), std::string);
}

TEST(ExceptionPointers, CopiesAreAlignedAsTheirTypeAsks) {
    std::vector<std::exception_ptr> held;
    for (int i = 0; i < 16; ++i) held.push_back(std::make_exception_ptr(Derived()));
    for (const std::exception_ptr& one : held) EXPECT_THROW(std::rethrow_exception(one), Derived);
    EXPECT_EQ(misplaced, 0);
}

TEST(ExceptionPointers, AreEmptyWhereNothingIsCaught) {
    EXPECT_EQ(std::current_exception(), nullptr);
    EXPECT_EQ(std::uncaught_exceptions(), 0);
}

TEST(ExceptionPointers, UncaughtExceptionsAreCountedWhileTheyPass) {
    int seen = 0;
    struct Guard {
        int& count;
        ~Guard() { count = std::uncaught_exceptions(); }
    };
    try {
        const Guard guard{seen};
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(seen, 1);
    EXPECT_EQ(std::uncaught_exceptions(), 0);
}

/// A frame of 256 KiB whose far end is touched first.
int DeepFrame(int depth) {
    volatile char frame[256 * 1024];
    frame[0] = static_cast<char>(depth);
    const int below = depth > 0 ? DeepFrame(depth - 1) : 0;
    return below + frame[0];
}

TEST(StackProbe, LargeFramesReachNewPagesInOrder) {
    int sum = 0;
    std::thread fresh([&] { sum = DeepFrame(2); });
    fresh.join();
    EXPECT_EQ(sum, 3);
}

TEST(Operators, GiveAlignedMemoryAndRefuseTooMuch) {
    struct alignas(256) Aligned {
        char bytes[256];
    };
    const Aligned* const one = new Aligned;
    const Aligned* const some = new Aligned[3];
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(one) % 256, 0U);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(some) % 256, 0U);
    delete one;
    delete[] some;
    volatile std::size_t tooMuch = SIZE_MAX / 2;
    EXPECT_THROW(::operator delete(::operator new(tooMuch)), std::bad_alloc);
    EXPECT_EQ(::operator new(tooMuch, std::nothrow), nullptr);
    void* const nothing = ::operator new(0);
    EXPECT_NE(nothing, nullptr);
    ::operator delete(nothing);
}

}  // namespace
