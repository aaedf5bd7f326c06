#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "simulator/host_libraries/journal.h"

namespace Korr::Plim::Trace::Simulator {

/// Objects that a library hands out. A destroyed object stays readable for a while, so that a call on it is
/// noticed instead of being undefined; the oldest of more than kRemembered destroyed ones are freed.
/// Unlocked: the libraries are called on one thread at a time.
template <typename Object>
class ObjectLife {
  public:
    static constexpr std::size_t kRemembered = 64;

    template <typename... Arguments>
    Object* Create(Arguments&&... arguments) {
        alive.push_back(std::make_unique<Object>(std::forward<Arguments>(arguments)...));
        return alive.back().get();
    }
    /// \return false for a pointer that is no living object of this library
    bool Destroy(const void* pointer) {
        const auto found = std::find_if(alive.begin(), alive.end(),
                                        [pointer](auto& object) { return object->Identity() == pointer; });
        if (found == alive.end()) return false;
        (*found)->destroyed = true;
        dead.push_back(std::move(*found));
        alive.erase(found);
        if (dead.size() > kRemembered) dead.pop_front();
        return true;
    }

  private:
    std::vector<std::unique_ptr<Object>> alive;
    std::deque<std::unique_ptr<Object>> dead;
};

/// What the destroying export of a library does: ends the object, and notes as a violation when there is none
/// to end. \param name of such an object in the journal \return whether one ended
template <typename Object>
bool EndObject(JournalCall& call, ObjectLife<Object>& objects, const void* pointer, const char* name) {
    if (pointer != nullptr && objects.Destroy(pointer)) return true;
    call.Violation((pointer == nullptr ? "null " : "no living ") + std::string(name));
    return false;
}

}  // namespace Korr::Plim::Trace::Simulator
