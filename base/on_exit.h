// Runs a function when a scope is left, however it is left.
#pragma once

#include <utility>

namespace cam {

template <typename Action>
class [[nodiscard]] OnExit {
  public:
    explicit OnExit(Action action) : m_action(std::move(action)) {}
    ~OnExit() { m_action(); }
    OnExit(const OnExit&) = delete;
    OnExit& operator=(const OnExit&) = delete;

  private:
    Action m_action;
};

}  // namespace cam
