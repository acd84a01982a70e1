#include "host/simulation.h"

#include <cerrno>
#include <fstream>
#include <iterator>
#include <system_error>

#include "host/exit_codes.h"
#include "host/files.h"
#include "host/loaded_library.h"
#include "standins/kz_camera_control/simulated_cameras.h"

namespace host {
namespace {

constexpr char kSdk[] = "KZCameraControl";
constexpr char kDefaultSimulation[] = "gige\nusb3\ngentl\n";

std::string SimulationText(const std::string& argument) {
    if (argument == "default") {
        return kDefaultSimulation;
    }
    if (!argument.starts_with('@')) {
        return argument;
    }
    const std::string name = argument.substr(1);
    std::ifstream file(PathOf(name), std::ios::binary);
    if (!file) {
        throw Failure("the file '" + name +
                      "' cannot be read: " + std::generic_category().message(errno));
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

void SetUpSimulation(const Options& options) {
    if (!options.simulate) {
        return;
    }
    const auto useRealCameras =
        FindLoaded<decltype(KZSim_UseRealCameras)>(kSdk, "KZSim_UseRealCameras");
    const auto configure = FindLoaded<decltype(KZSim_Configure)>(kSdk, "KZSim_Configure");
    const auto wrongWord = FindLoaded<decltype(KZSim_WrongWord)>(kSdk, "KZSim_WrongWord");
    if (useRealCameras == nullptr || configure == nullptr || wrongWord == nullptr) {
        throw Failure("this camera SDK has no simulated cameras");
    }
    const std::string text = SimulationText(*options.simulate);
    useRealCameras(false);
    if (const std::uint32_t line = configure(text.c_str()); line != 0) {
        char word[128] = {};
        wrongWord(text.c_str(), word, sizeof word);
        throw Failure(ExitCode::Usage,
                      "line " + std::to_string(line) +
                          " of the simulated cameras is not understood" +
                          (word[0] == '\0' ? std::string() : ": '" + std::string(word) + "'"));
    }
}

}  // namespace host
