#include "standins/kz_camera_control/aravis/loss_watch.h"

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
    void SetLost() {
        const std::lock_guard lock(mutex);
        lost = true;
        changed.notify_all();
    }
    [[nodiscard]] bool Lost() {
        const std::lock_guard lock(mutex);
        return lost;
    }

    std::mutex turn;  // held while the camera is polled; taken before mutex

    std::mutex mutex;  // guards the members below
    std::condition_variable changed;
    bool stop = false;
    bool lost = false;
    bool telling = false;  // onLoss is running
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
    return m_state->Lost();
}

Code LossWatch::Ask(const std::function<Code()>& call) {
    const std::lock_guard turn(m_state->turn);
    if (Lost()) {
        return KZ_CC_E_DEVICE_LOST;
    }
    const Code code = call();
    if (code == KZ_CC_E_DEVICE_LOST) {
        m_state->SetLost();
    }
    return code;
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

// Called inside Aravis: only sets a flag for the watching thread.
void LossWatch::OnControlLost(ArvDevice*, gpointer shared) {
    (*static_cast<std::shared_ptr<State>*>(shared))->SetLost();
}

void LossWatch::Run(State& state) {
    std::unique_lock lock(state.mutex);
    while (!state.changed.wait_for(lock, kPeriod, [&] { return state.stop || state.lost; })) {
        lock.unlock();
        {
            const std::lock_guard turn(state.turn);
            if (!state.Lost() && !StillOurs(state.device)) {
                state.SetLost();
            }
        }
        lock.lock();
    }
    if (state.stop) {
        return;
    }
    state.telling = true;
    lock.unlock();
    state.onLoss();
    lock.lock();
    state.telling = false;
    state.changed.notify_all();
}

}  // namespace kz
