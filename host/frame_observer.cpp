#include "host/frame_observer.h"

namespace host {

void OpenFollowed(ModuleSession& session, FrameObserver& observer, const Options& options) {
    session.OpenCamera(options, true);
    observer.Connection().Opened(options.address.has_value());
    if (options.address) {
        session.Command("AutoConnect", "True");
    }
}

}  // namespace host
