// The other process of the tests. Each command ends without undoing anything, as a process does
// that is killed.

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/named_mutex.h"
#include "platform/shared_mapping.h"
#include "platform/system.h"

namespace {

using platform::SharedMapping;

constexpr int kDone = 0;
constexpr int kFailed = 1;

// Tells by a file that it holds the mutex, and dies when the file is taken away.
int HoldMutex(const std::string& name, const std::string& sign) {
    const platform::NamedMutexHold hold(name);
    if (!hold.Owned()) {
        return kFailed;
    }
    std::ofstream(sign) << "held";
    for (int i = 0; i < 6000 && std::filesystem::exists(sign); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::_Exit(kDone);
}

// Copies what another process shares to a file.
int CopyMapping(const std::string& name, const std::string& file) {
    SharedMapping mapping;
    if (mapping.Open(name.c_str()) != 0 || mapping.Map() != 0) {
        return kFailed;
    }
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(mapping.View()),
               static_cast<std::streamsize>(mapping.Size()));
    return kDone;
}

// Leaves an object behind, named "left." and its process id, and writes the id to a file.
int LeaveObject(const std::string& file) {
    const std::string process = std::to_string(platform::CurrentProcessId());
    SharedMapping mapping;
    if (mapping.Create(("left." + process).c_str(), 1000) != 0) {
        return kFailed;
    }
    std::ofstream(file) << process;
    std::_Exit(kDone);
}

}  // namespace

int main(int count, char** values) {
    const std::vector<std::string> arguments(values + 1, values + count);
    if (arguments.size() == 3 && arguments[0] == "hold-mutex") {
        return HoldMutex(arguments[1], arguments[2]);
    }
    if (arguments.size() == 3 && arguments[0] == "copy-mapping") {
        return CopyMapping(arguments[1], arguments[2]);
    }
    if (arguments.size() == 2 && arguments[0] == "leave-object") {
        return LeaveObject(arguments[1]);
    }
    return kFailed;
}
