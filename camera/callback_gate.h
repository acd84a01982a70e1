// Keeps the SDK's callbacks out of a module that is gone. The SDK waits for a frame callback when a
// handle is closed, but not for an exception or event callback: one of those may be about to enter
// just when the host destroys the module. They enter through this gate, which knows by address the
// modules that still let them in.
#pragma once

namespace cam {

class CallbackGate {
  public:
    // From now on callbacks with `module` as their user pointer may enter.
    static void Open(const void* module);

    // Lets no more in and waits until those inside have left; harmless on a closed gate. Called
    // from within one of them it does not wait for that one.
    static void CloseAndWait(const void* module);

    // One callback's stay: the module lives as long as an entry that was let in.
    class Entry {
      public:
        explicit Entry(const void* module);
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        [[nodiscard]] explicit operator bool() const { return m_module != nullptr; }

      private:
        const void* m_module;
    };
};

}  // namespace cam
