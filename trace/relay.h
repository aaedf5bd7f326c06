#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace Korr::Plim::Trace::Swo {

/// Hands work from a thread that it begins to the caller's: slots, of which there are so many and no more,
/// are filled there and taken here, in the same order. The thread lives no longer than a call.
///
/// Thread is std::thread, or does the same.
template <class Slot, class Thread = std::thread>
class Relay {
  public:
    /// \param count at least 2
    explicit Relay(size_t count) : slots(count) {}

    /// \param fill bool(Slot&), called by the thread: fills a slot; false: there is nothing to fill it with
    /// any more
    /// \param take void(const Slot&), called by the caller's thread with every filled slot
    /// \return false: there is no thread to be had, and nothing was done
    /// \throws what take throws, else what fill has thrown, by when take has had all before it
    template <class Fill, class Take>
    bool Run(Fill&& fill, Take&& take) {
        filled = taken = 0;
        ended = abandoned = false;
        failure = nullptr;
        Thread filler;
        try {
            filler = Thread([this, &fill] { FillAll(fill); });
        } catch (const std::exception&) {
            return false;
        }
        {
            const Ending ending{*this, filler};
            while (const Slot* const slot = NextFilled()) {
                take(*slot);
                GiveBack();
            }
        }
        if (failure) std::rethrow_exception(failure);
        return true;
    }

  private:
    /// On every way out.
    struct Ending {
        Relay& relay;
        Thread& filler;
        ~Ending() {
            {
                const std::lock_guard hold(relay.mutex);
                relay.abandoned = true;
                relay.changed.notify_all();
            }
            filler.join();
        }
    };

    template <class Fill>
    void FillAll(Fill& fill) noexcept {
        try {
            while (Slot* const slot = NextFree()) {
                if (!fill(*slot)) break;
                const std::lock_guard hold(mutex);
                ++filled;
                if (takerWaits) changed.notify_all();
            }
        } catch (...) {
            failure = std::current_exception();
        }
        const std::lock_guard hold(mutex);
        ended = true;
        changed.notify_all();
    }
    /// When all are filled, waits until half of them are free: to be woken for each one would cost more than
    /// it gains. \return null: nobody takes any more
    Slot* NextFree() {
        std::unique_lock lock(mutex);
        if (filled - taken == slots.size()) {
            fillerWaits = true;
            changed.wait(lock, [this] { return abandoned || filled - taken <= slots.size() / 2; });
            fillerWaits = false;
        }
        return abandoned ? nullptr : &slots[filled % slots.size()];
    }
    /// \return null: there is none, and none will come
    const Slot* NextFilled() {
        std::unique_lock lock(mutex);
        takerWaits = true;
        changed.wait(lock, [this] { return ended || taken < filled; });
        takerWaits = false;
        return taken < filled ? &slots[taken % slots.size()] : nullptr;
    }
    void GiveBack() {
        const std::lock_guard hold(mutex);
        ++taken;
        if (fillerWaits && filled - taken <= slots.size() / 2) changed.notify_all();
    }

    std::vector<Slot> slots;
    std::exception_ptr failure;  ///< of the thread; to be looked at when it is gone
    std::mutex mutex;            ///< of all below
    std::condition_variable changed;
    size_t filled = 0;
    size_t taken = 0;
    bool ended = false;      ///< nothing will be filled any more
    bool abandoned = false;  ///< nothing will be taken any more
    bool takerWaits = false;
    bool fillerWaits = false;
};

}  // namespace Korr::Plim::Trace::Swo
