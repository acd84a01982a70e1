// The order in which the locks of one module are taken, and its check: in builds with
// CAMERA_MODULE_CHECK_LOCK_ORDER a thread that waits for a lock against the order ends the process
// with the names of both locks.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cam {

// A thread that holds a lock waits only for locks of a later rank. The connection lock is taken
// early because an open replays saved parameters and the host may call back from its notices;
// GetImage is then only tried. Leaf locks are taken last and alone.
enum class LockRank : std::uint8_t {
    GetImage,
    Connection,
    Parameter,
    NodeInfo,
    ImageList,
    Camera,
    Leaf,
};

namespace lock_order {

inline constexpr bool kChecked = CAMERA_MODULE_CHECK_LOCK_ORDER != 0;

struct HeldLock {
    const void* lock;
    LockRank rank;
    const char* name;
    bool reentrant;  // whether its holder may take it again
};

void CheckWait(const HeldLock& wanted);
void Push(const HeldLock& taken);
void Pop(const void* lock);

inline void BeforeWait([[maybe_unused]] const HeldLock& wanted) {
    if constexpr (kChecked) {
        CheckWait(wanted);
    }
}
inline void Taken([[maybe_unused]] const HeldLock& taken) {
    if constexpr (kChecked) {
        Push(taken);
    }
}
inline void Released([[maybe_unused]] const void* lock) {
    if constexpr (kChecked) {
        Pop(lock);
    }
}

// The object whose locks are ordered among themselves. Locks of different modules have no order:
// from inside a notice of one module the host may call another.
class Domain {
  public:
    Domain(const void* begin, std::size_t size);
    ~Domain();
    Domain(const Domain&) = delete;
    Domain& operator=(const Domain&) = delete;

    [[nodiscard]] bool Holds(const void* lock) const;

  private:
    friend const Domain* DomainOf(const void* lock);

    const void* const m_begin;
    const std::size_t m_size;
    // Linked without allocation, so that the list needs no destructor.
    Domain* m_next = nullptr;
};

}  // namespace lock_order
}  // namespace cam
