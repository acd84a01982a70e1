// The process that the log lives in: how it ends, and how it splits in two.
#pragma once

namespace xalog {

// What the log does at its turning points.
struct ProcessHooks {
    // The process ends, in good order or by a signal. With `othersAreGone` all other threads have
    // ended already, wherever they stood. Calls only what a signal handler may call.
    void (*ending)(bool othersAreGone) noexcept;
    void (*beforeFork)() noexcept;
    void (*afterForkInParent)() noexcept;
    void (*afterForkInChild)() noexcept;
};

// Once. From here on the library stays loaded until the process ends, because its thread does, and
// the ends that a process can notice come by `ending`:
// - Linux: the orderly end, and signals whose disposition is the default one now, which then ends
// the
//   process as it would have. A handler that the program sets later takes the place of this.
// - Windows: ExitProcess, which also abort and Ctrl-C come to, and exceptions that nobody handles.
void WatchProcess(const ProcessHooks& hooks) noexcept;

// Whether `run` runs on a thread of its own, until the process ends. No signal is handled there.
[[nodiscard]] bool StartThread(void (*run)(void* argument), void* argument) noexcept;

}  // namespace xalog
