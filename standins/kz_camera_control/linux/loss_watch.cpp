#include "standins/kz_camera_control/linux/loss_watch.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

namespace kz {
namespace {

constexpr std::chrono::milliseconds kPeriod{500};

// GigE Vision bootstrap register "control channel privilege" and its bits for a controller.
constexpr guint64 kControlChannelPrivilege = 0x0a00;
constexpr guint32 kControlBits = 0x3;
// USB3 Vision: the first bootstrap register (GenCP version); any readable one will do.
constexpr guint64 kGenCpVersion = 0x0000;

bool StillOurs(ArvDevice* device) {
    const bool gige = ARV_IS_GV_DEVICE(device);
    guint32 value = 0;
    GErrorHolder error;
    if (!arv_device_read_register(device, gige ? kControlChannelPrivilege : kGenCpVersion, &value,
                                  error.Out())) {
        return false;
    }
    return !gige || (value & kControlBits) != 0;
}

}  // namespace

struct LossWatch::State {
    State(ArvDevice* watched, std::function<void()> callback)
        : device(watched), onLoss(std::move(callback)) {}

    ArvDevice* const device;
    const std::function<void()> onLoss;
    std::mutex mutex;
    std::condition_variable changed;
    bool stop = false;      // guarded by mutex
    bool checkNow = false;  // guarded by mutex
    bool lost = false;      // guarded by mutex
    bool telling = false;   // guarded by mutex; onLoss is under way
};

LossWatch::LossWatch(ArvDevice* device, std::function<void()> onLoss)
    : m_state(std::make_shared<State>(device, std::move(onLoss))), m_device(device) {
    // The signal comes on a thread of Aravis, perhaps while the handler is being disconnected: the
    // handler shares the state.
    m_signal = g_signal_connect_data(
        device, "control-lost", G_CALLBACK(&LossWatch::OnControlLost),
        std::make_unique<std::shared_ptr<State>>(m_state).release(),
        [](gpointer state, GClosure*) { delete static_cast<std::shared_ptr<State>*>(state); },
        static_cast<GConnectFlags>(0));
    m_thread = std::thread([state = m_state] { Run(*state); });
}

LossWatch::~LossWatch() {
    std::thread thread = End();
    if (thread.joinable()) {
        thread.join();
    }
}

bool LossWatch::Lost() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->lost;
}

void LossWatch::CheckNow() {
    {
        const std::lock_guard lock(m_state->mutex);
        m_state->checkNow = true;
    }
    m_state->changed.notify_all();
}

std::thread LossWatch::End() {
    if (m_signal != 0) {
        g_signal_handler_disconnect(m_device, std::exchange(m_signal, 0));
    }
    {
        std::unique_lock lock(m_state->mutex);
        m_state->stop = true;
        m_state->changed.notify_all();
        m_state->changed.wait(lock, [this] { return !m_state->telling; });
    }
    return std::move(m_thread);
}

// Called inside Aravis: only leaves a note for the watching thread.
void LossWatch::OnControlLost(ArvDevice*, gpointer shared) {
    State& state = **static_cast<std::shared_ptr<State>*>(shared);
    {
        const std::lock_guard lock(state.mutex);
        state.lost = true;
    }
    state.changed.notify_all();
}

void LossWatch::Run(State& state) {
    std::unique_lock lock(state.mutex);
    for (;;) {
        state.changed.wait_for(lock, kPeriod,
                               [&] { return state.stop || state.checkNow || state.lost; });
        if (state.stop) {
            return;
        }
        state.checkNow = false;
        if (!state.lost) {
            lock.unlock();
            const bool ours = StillOurs(state.device);
            lock.lock();
            state.lost = state.lost || !ours;
        }
        if (state.lost && !state.stop) {
            state.telling = true;
            lock.unlock();
            state.onLoss();
            lock.lock();
            state.telling = false;
            state.changed.notify_all();
            return;
        }
    }
}

}  // namespace kz
