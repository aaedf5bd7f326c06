#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace Korr::Plim::Trace::Swo {

/// Has work done on two threads, one of its own and the caller's: slots, of which there are so many and no
/// more, are filled one after another, and taken by the caller in the same order. The caller fills one itself
/// when none is there and the thread is not at it: on a busy machine it may be long until its turn comes. The
/// thread is begun when it is needed first, sleeps between calls and ends with this.
///
/// Thread is std::thread, or does the same. Used by one thread.
template <class Slot, class Thread = std::thread>
class Relay {
  public:
    /// Fills a slot; false: there is nothing to fill it with any more. Called by either thread, by one at a
    /// time.
    using Fill = std::function<bool(Slot&)>;

    /// \param count at least 2
    explicit Relay(size_t count) : slots(count) {}
    ~Relay() {
        {
            const std::lock_guard hold(mutex);
            leaving = true;
            changed.notify_all();
        }
        if (helper.joinable()) helper.join();
    }
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    /// \param take void(const Slot&), called by the caller's thread with every filled slot
    /// \return false: there is no thread to be had, and nothing was done
    /// \throws what take throws, else what fill has thrown, by when take has had all before it. Nothing is
    /// called any more when it returns.
    template <class Take>
    bool Run(const Fill& fill, Take&& take) {
        if (!Begin(fill)) return false;
        const Ending ending{*this};
        while (const Slot* const slot = NextFilled()) {
            take(*slot);
            GiveBack();
        }
        if (failure) std::rethrow_exception(failure);
        return true;
    }

  private:
    /// On every way out.
    struct Ending {
        Relay& relay;
        ~Ending() {
            const std::lock_guard turn(relay.filling);
            const std::lock_guard hold(relay.mutex);
            relay.source = nullptr;
        }
    };

    bool Begin(const Fill& fill) {
        if (!helper.joinable()) {
            try {
                helper = Thread([this] { Help(); });
            } catch (const std::exception&) {
                return false;
            }
        }
        const std::lock_guard hold(mutex);
        filled = taken = 0;
        ended = full = false;
        failure = nullptr;
        source = &fill;
        changed.notify_all();
        return true;
    }
    void Help() {
        for (;;) {
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [this] { return leaving || (source != nullptr && !ended && !full); });
                if (leaving) return;
            }
            const std::lock_guard turn(filling);
            FillOne();
        }
    }
    /// By who holds `filling`.
    void FillOne() noexcept {
        Slot* slot = nullptr;
        {
            const std::lock_guard hold(mutex);
            if (source == nullptr || ended || full) return;
            slot = &slots[filled % slots.size()];
        }
        bool more = false;
        std::exception_ptr thrown;
        try {
            more = (*source)(*slot);
        } catch (...) {
            thrown = std::current_exception();
        }
        const std::lock_guard hold(mutex);
        filled += more ? 1 : 0;
        full = filled - taken == slots.size();
        ended = !more;
        failure = thrown;
        if (takerWaits) changed.notify_all();
    }
    /// \return null: there is none, and none will come
    const Slot* NextFilled() {
        for (;;) {
            {
                const std::lock_guard hold(mutex);
                if (taken < filled) return &slots[taken % slots.size()];
                if (ended) return nullptr;
            }
            if (const std::unique_lock turn(filling, std::try_to_lock); turn) {
                FillOne();
                continue;
            }
            std::unique_lock lock(mutex);
            takerWaits = true;
            changed.wait(lock, [this] { return ended || taken < filled; });
            takerWaits = false;
        }
    }
    /// When all are filled, the thread sleeps until half of them are free: to be woken for each one would
    /// cost more than it gains.
    void GiveBack() {
        const std::lock_guard hold(mutex);
        ++taken;
        if (!full || filled - taken > slots.size() / 2) return;
        full = false;
        changed.notify_all();
    }

    std::vector<Slot> slots;
    std::mutex filling;  ///< whose turn it is to fill; taken before the other one
    std::mutex mutex;    ///< of all below
    std::condition_variable changed;
    const Fill* source = nullptr;  ///< null: nothing is to be filled. Changes under both
    size_t filled = 0;
    size_t taken = 0;
    std::exception_ptr failure;  ///< that ended it
    bool ended = false;          ///< nothing will be filled any more
    bool full = false;           ///< nothing is to be filled for the moment
    bool takerWaits = false;
    bool leaving = false;
    Thread helper;
};

}  // namespace Korr::Plim::Trace::Swo
