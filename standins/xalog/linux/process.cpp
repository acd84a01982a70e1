#include "standins/xalog/process.h"

#include <pthread.h>
#include <signal.h>

#include <cerrno>
#include <thread>

namespace xalog {
namespace {

constinit ProcessHooks processHooks{};

// The signals that end a process by default and can be caught.
constexpr int kEndingSignals[] = {SIGHUP,  SIGINT,  SIGQUIT,   SIGILL,  SIGTRAP, SIGABRT, SIGBUS,
                                  SIGFPE,  SIGUSR1, SIGSEGV,   SIGUSR2, SIGPIPE, SIGALRM, SIGTERM,
                                  SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF, SIGSYS};

sigset_t SetOf(int number) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, number);
    return set;
}

// The default disposition is restored. All signals are blocked meanwhile, so that a closed pipe
// does not end the process in the middle.
extern "C" void OnEndingSignal(int number) {
    const int error = errno;
    processHooks.ending(false);
    raise(number);
    const sigset_t its = SetOf(number);
    pthread_sigmask(SIG_UNBLOCK, &its, nullptr);
    errno = error;
}

void CatchWhatIsDefault(int number) {
    struct sigaction action {};
    if (sigaction(number, nullptr, &action) != 0 || (action.sa_flags & SA_SIGINFO) != 0 ||
        action.sa_handler != SIG_DFL) {
        return;
    }
    action.sa_handler = OnEndingSignal;
    action.sa_flags = SA_RESETHAND | SA_ONSTACK;
    sigfillset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

struct OrderlyEnd {
    ~OrderlyEnd() {
        if (processHooks.ending != nullptr) {
            const sigset_t closedPipe = SetOf(SIGPIPE);
            pthread_sigmask(SIG_BLOCK, &closedPipe, nullptr);
            processHooks.ending(false);
        }
    }
} orderlyEnd;

}  // namespace

// The linker marks the library as one that is never unloaded.
void WatchProcess(const ProcessHooks& hooks) noexcept {
    processHooks = hooks;
    pthread_atfork(hooks.beforeFork, hooks.afterForkInParent, hooks.afterForkInChild);
    for (const int number : kEndingSignals) {
        CatchWhatIsDefault(number);
    }
}

bool StartThread(void (*run)(void* argument), void* argument) noexcept {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    bool started = true;
    try {
        std::thread(run, argument).detach();
    } catch (...) {
        started = false;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

}  // namespace xalog
