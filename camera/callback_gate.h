// Keeps callbacks out of a destroyed module. The SDK waits for a frame callback when a handle is
// closed, but perhaps not for an exception or event callback, and the framework not for a notify
// event: one of those may be about to enter just as the host destroys the module. They enter
// through this gate, which knows by the module's address whether it still accepts callbacks.
#pragma once

#include <condition_variable>
#include <thread>

namespace cam {

class CallbackGate {
  public:
    CallbackGate() = default;
    ~CallbackGate() { CloseAndWait(); }
    CallbackGate(const CallbackGate&) = delete;
    CallbackGate& operator=(const CallbackGate&) = delete;

    // From now on callbacks with `module` as their user pointer may enter. May be repeated.
    void Open(const void* module);

    // Admits no more callbacks and waits until those inside have left; harmless on a closed gate.
    // Called from inside a callback, it does not wait for that one.
    void CloseAndWait();

    // One callback's stay: the module outlives every admitted entry.
    class Entry {
      public:
        explicit Entry(const void* module);
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        [[nodiscard]] explicit operator bool() const { return m_gate != nullptr; }

      private:
        friend class CallbackGate;

        CallbackGate* m_gate = nullptr;
        Entry* m_next = nullptr;
        const std::thread::id m_thread = std::this_thread::get_id();
    };

  private:
    [[nodiscard]] bool OtherInside() const;

    // All guarded by the one lock of all gates. The gates are linked without allocation, because
    // the library may be unloaded, or the process exit, with a callback on its way.
    const void* m_module = nullptr;  // null: closed
    CallbackGate* m_nextOpen = nullptr;
    Entry* m_inside = nullptr;
    std::condition_variable_any m_left;
};

}  // namespace cam
