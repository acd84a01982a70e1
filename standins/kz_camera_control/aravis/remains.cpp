#include "standins/kz_camera_control/aravis/remains.h"

#include <exception>
#include <memory>
#include <utility>

namespace kz {

Remains::~Remains() {
    if (watch.joinable()) {
        watch.join();
    }
    stream.reset();
    device.reset();
}

void GiveBack(Remains remains) noexcept {
    try {
        std::thread([taken = std::make_unique<Remains>(std::move(remains))] {}).detach();
    } catch (const std::exception&) {
        // Releases what the thread would have released.
    }
}

}  // namespace kz
