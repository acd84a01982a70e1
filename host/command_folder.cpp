// folder: the pictures of a folder.
#include <algorithm>
#include <cstdio>
#include <optional>

#include "host/commands.h"
#include "host/console.h"
#include "host/grab_run.h"
#include "host/interrupt.h"
#include "host/print.h"
#include "imaging/local_images.h"
#include "pictures/image_decoder.h"
#include "platform/file_system.h"

namespace host {
namespace {

// The names of the folder's pictures in the order in which the module takes them.
std::vector<std::string> PictureNames(const std::string& folder) {
    auto names = platform::ListFolder(folder);
    if (!names) {
        throw Failure("the folder '" + folder + "' cannot be listed");
    }
    std::erase_if(*names, [](const std::string& name) { return !cam::IsPictureName(name); });
    return *std::move(names);
}

// Those of the names that can be decoded; the others are told with the reason. The module passes
// them over and says so in its log only.
std::vector<std::string> ReadableNames(const std::string& folder, std::vector<std::string> names) {
    std::erase_if(names, [&](const std::string& name) {
        std::string reason;
        if (platform::DecodeImageFile(platform::JoinPath(folder, name),
                                      cam::LocalImages::kMaxPictureBytes, reason)) {
            return false;
        }
        PrintMessage("'" + name + "' cannot be read: " + reason);
        return true;
    });
    return names;
}

}  // namespace

ExitCode RunFolder(const Options& options) {
    const std::string& folder = options.arguments.front();
    if (folder.find_first_of(" \t") != std::string::npos) {
        throw Failure("the module takes a folder's path up to the first blank only: '" + folder +
                      "'");
    }
    const std::vector<std::string> all = PictureNames(folder);
    if (all.empty()) {
        throw Failure(ExitCode::NoFrame, "the folder '" + folder + "' holds no pictures");
    }
    const std::vector<std::string> names = ReadableNames(folder, all);
    if (names.empty()) {
        throw Failure(ExitCode::NoFrame, "no picture of '" + folder + "' can be read");
    }
    ModuleSession session(options);
    session.Write("DebugMode", "True");
    session.Write("FileFolderName", folder);

    std::optional<Recorder> recorder;
    if (!options.recording.folder.empty()) {
        recorder.emplace(options.recording, Recorder::WhenFull::Wait);
    }
    const std::uint64_t wanted = options.frames.value_or(names.size());
    std::uint64_t taken = 0;
    while (taken < wanted && !Interrupted() && !OutputFailed() &&
           !(recorder && recorder->Failed())) {
        Frame frame;
        if (session.TakeFrame(frame) != 0) {
            throw Failure(ExitCode::NoFrame, "the module delivers no picture of '" + folder + "'");
        }
        ++taken;
        const cam::BufferNode& record = frame.Record();
        // The first request delivers the second picture.
        const std::string& name = names[taken % names.size()];
        std::fprintf(Output(), "%s\t%ux%u\t%s\t%u bytes\n", name.c_str(), record.width,
                     record.height, PixelTypeName(record.pixelType), record.dataLength);
        if (recorder && taken % options.recording.every == 0) {
            recorder->Offer(std::move(frame), taken);
        }
    }
    if (recorder) {
        const Recorder::Counts counts = recorder->Finish();
        Print("pictures saved  " + std::to_string(counts.written) + " as " +
              PictureFormatName(options.recording.format) + " in " + options.recording.folder +
              "\n");
        if (!counts.error.empty()) {
            throw Failure(counts.error);
        }
    }
    if (Interrupted()) {
        return ExitCode::Interrupted;
    }
    return names.size() < all.size() ? ExitCode::Failure : ExitCode::Ok;
}

}  // namespace host
