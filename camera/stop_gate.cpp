#include "camera/stop_gate.h"

#include <chrono>
#include <span>

#include "base/log.h"

namespace cam {

namespace {

// How often a thread of the SDK checks whether the lock is free or a stop is announced.
constexpr std::chrono::microseconds kLook{50};

}  // namespace

StopGate::Callback::Callback(StopGate& gate, Source source) : m_gate(gate) {
    const std::span places = std::span(gate.m_callbacks).subspan(source == Source::Frame ? 0 : 1);
    for (;;) {
        for (Place& place : places) {
            std::thread::id nobody;
            if (place.thread.compare_exchange_strong(nobody, std::this_thread::get_id())) {
                place.source.store(source, std::memory_order_relaxed);
                m_place = &place;
                return;
            }
        }
        std::this_thread::yield();
    }
}

const StopGate::Callback::Place* StopGate::PlaceOfThisThread() const {
    const std::thread::id self = std::this_thread::get_id();
    for (const Callback::Place& place : m_callbacks) {
        if (place.thread.load(std::memory_order_relaxed) == self) {
            return &place;
        }
    }
    return nullptr;
}

bool StopGate::MayStop() const {
    const Callback::Place* const place = PlaceOfThisThread();
    return place == nullptr || place->source.load(std::memory_order_relaxed) == Source::Exception;
}

bool StopGate::MayStop(std::int32_t moduleId, const char* function) const {
    if (MayStop()) {
        return true;
    }
    CAM_LOG(kLogError, moduleId, function,
            "Refused from inside a frame's notice: the camera's stop would wait for it");
    return false;
}

bool StopGate::Acquire(ReentrantLock& lock) const {
    if (!InCallback()) {
        lock.lock();
        return true;
    }
    while (!lock.try_lock()) {
        if (StopUnderWay()) {
            return false;
        }
        std::this_thread::sleep_for(kLook);
    }
    return true;
}

}  // namespace cam
