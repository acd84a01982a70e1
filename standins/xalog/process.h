// The process that the log runs in: how it ends and how it forks.
#pragma once

namespace xalog {

// What the log does at these points.
struct ProcessHooks {
    // The process ends, normally or by a signal. With `othersAreGone` all other threads have ended
    // already, wherever they were. Calls only what a signal handler may call.
    void (*ending)(bool othersAreGone) noexcept;
    void (*beforeFork)() noexcept;
    void (*afterForkInParent)() noexcept;
    void (*afterForkInChild)() noexcept;
};

// Call once. From then on the library stays loaded until the process ends, because its thread runs
// until then, and `ending` is called at every end that a process can notice:
// - Linux: the normal end, and signals that have the default disposition now, which then ends the
//   process as usual. A handler that the program sets later replaces this one.
// - Windows: ExitProcess, which abort and Ctrl-C also reach, and unhandled exceptions.
void WatchProcess(const ProcessHooks& hooks) noexcept;

// Starts `run` on its own thread, which lasts until the process ends and handles no signals.
[[nodiscard]] bool StartThread(void (*run)(void* argument), void* argument) noexcept;

}  // namespace xalog
