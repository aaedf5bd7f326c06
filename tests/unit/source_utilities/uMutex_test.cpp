#include "source_utilities/uMutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using KORR_PLIM::uMutex;
using KORR_PLIM::uMutexLock;

bool UnlockElsewhere(uMutex& mutex) {
    bool result = true;
    std::thread([&] { result = mutex.Unlock(); }).join();
    return result;
}

TEST(uMutex, IsRecursiveForItsOwner) {
    uMutex mutex;
    EXPECT_TRUE(mutex.Lock());
    EXPECT_TRUE(mutex.Lock());
    EXPECT_TRUE(mutex.Unlock());
    EXPECT_TRUE(mutex.Unlock());
}
TEST(uMutex, UnbalancedUnlockIsRefused) {
    uMutex mutex;
    EXPECT_FALSE(mutex.Unlock());
    mutex.Lock();
    EXPECT_TRUE(mutex.Unlock());
    EXPECT_FALSE(mutex.Unlock());
    EXPECT_TRUE(mutex.Lock()) << "a refused unlock leaves the mutex usable";
    EXPECT_TRUE(mutex.Unlock());
}
TEST(uMutex, UnlockFromAnotherThreadIsRefusedAndTheMutexStaysHeld) {
    uMutex mutex;
    mutex.Lock();
    EXPECT_FALSE(UnlockElsewhere(mutex));
    std::atomic<bool> entered{false};
    std::thread third([&] {
        mutex.Lock();
        entered = true;
        mutex.Unlock();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(entered) << "still held by its owner";
    EXPECT_TRUE(mutex.Unlock());
    third.join();
    EXPECT_TRUE(entered);
}
TEST(uMutex, OneOfTwoUnlocksLeavesItHeld) {
    uMutex mutex;
    mutex.Lock();
    mutex.Lock();
    mutex.Unlock();
    std::atomic<bool> entered{false};
    std::thread other([&] {
        mutex.Lock();
        entered = true;
        mutex.Unlock();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(entered);
    EXPECT_TRUE(mutex.Unlock());
    other.join();
    EXPECT_TRUE(entered);
}
TEST(uMutex, KeepsThreadsApart) {
    uMutex mutex;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int k = 0; k < 1000; ++k) {
                const uMutexLock guard(mutex);
                ++counter;
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(counter, 4000);
}

}  // namespace
