#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <memory>
#include <utility>
#include <vector>

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

}  // namespace Korr::Plim::Trace::Simulator
