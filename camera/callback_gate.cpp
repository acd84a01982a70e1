#include "camera/callback_gate.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace cam {

namespace {

struct Stay {
    const void* module;
    std::thread::id thread;
};

struct Gates {
    std::mutex lock;
    std::condition_variable left;
    std::vector<const void*> open;  // under `lock`, like the next
    std::vector<Stay> inside;
};

// Leaked on purpose: callbacks may come while the library's statics are being destroyed.
Gates& AllGates() {
    static Gates* const gates = new Gates;
    return *gates;
}

}  // namespace

void CallbackGate::Open(const void* module) {
    Gates& gates = AllGates();
    const std::lock_guard hold(gates.lock);
    if (std::find(gates.open.begin(), gates.open.end(), module) == gates.open.end()) {
        gates.open.push_back(module);
    }
}

void CallbackGate::CloseAndWait(const void* module) {
    Gates& gates = AllGates();
    std::unique_lock hold(gates.lock);
    std::erase(gates.open, module);
    gates.left.wait(hold, [&] {
        return std::none_of(gates.inside.begin(), gates.inside.end(), [&](const Stay& stay) {
            return stay.module == module && stay.thread != std::this_thread::get_id();
        });
    });
}

CallbackGate::Entry::Entry(const void* module) : m_module(nullptr) {
    Gates& gates = AllGates();
    const std::lock_guard hold(gates.lock);
    if (std::find(gates.open.begin(), gates.open.end(), module) != gates.open.end()) {
        gates.inside.push_back({module, std::this_thread::get_id()});
        m_module = module;
    }
}

CallbackGate::Entry::~Entry() {
    if (m_module == nullptr) {
        return;
    }
    Gates& gates = AllGates();
    const std::lock_guard hold(gates.lock);
    const auto stay =
        std::find_if(gates.inside.begin(), gates.inside.end(), [&](const Stay& candidate) {
            return candidate.module == m_module && candidate.thread == std::this_thread::get_id();
        });
    gates.inside.erase(stay);
    gates.left.notify_all();
}

}  // namespace cam
