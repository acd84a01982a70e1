// grab: frames on request or run by camera. folder: the pictures of a folder.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>

#include "camera/sdk/pixel_format.h"
#include "host/commands.h"
#include "host/console.h"
#include "host/grab_run.h"
#include "host/interrupt.h"
#include "host/parameter_help.h"
#include "host/picture_writer.h"
#include "host/progress.h"
#include "host/text.h"

namespace host {
namespace {

constexpr std::uint64_t kDefaultFrames = 10;
// A camera that misses this many frames in a row is not going to send any.
constexpr std::uint64_t kGiveUpAfter = 3;
constexpr std::chrono::milliseconds kInterruptInterval{50};
constexpr char kUsualSoftwareSource[] = "7";

// Frames and where they go.
struct Grab {
    const Options& options;
    ModuleSession& session;
    FrameObserver& observer;
    GrabRun run;
    std::uint64_t wanted;
    std::optional<PictureWriter> writer;
    std::optional<ProgressBar> progress;

    Grab(const Options& grabOptions, ModuleSession& moduleSession, FrameObserver& frameObserver,
         std::uint64_t frames)
        : options(grabOptions),
          session(moduleSession),
          observer(frameObserver),
          run(frameObserver.Journal()),
          wanted(frames) {
        if (!options.outputFolder.empty()) {
            writer.emplace(options.outputFolder);
        }
    }

    [[nodiscard]] bool GoesOn() const {
        return run.Frames() < wanted && run.NotDeliveredInARow() < kGiveUpAfter && !Interrupted() &&
               !OutputFailed();
    }

    // Reads the frame that is due and passes it on.
    void Take() {
        Frame frame;
        if (session.TakeFrame(frame) != 0) {
            run.NotDelivered();
            // A frame that comes late after all must not pass for the next one asked for.
            session.Command("ClearCacheImage", "1");
            return;
        }
        run.Taken(frame.Record());
        if (progress) {
            progress->Update(run.Frames());
        }
        if (writer && run.Frames() % options.saveEvery == 0) {
            writer->Write(std::move(frame), run.Frames());
        }
    }
};

// The module writes enumerations by number, and cameras number their trigger sources as they like.
std::string SoftwareTriggerSource(ModuleSession& session) {
    const std::string text = session.Get("TriggerSource");
    if (IsUnreadable(text)) {
        return {};
    }
    const auto fields = SplitFields(text);
    std::string highest;
    long highestValue = -1;
    for (std::size_t i = 1; i < fields.size(); ++i) {
        if (fields[i] == kUsualSoftwareSource) {
            return kUsualSoftwareSource;
        }
        long value = -1;
        std::from_chars(fields[i].data(), fields[i].data() + fields[i].size(), value);
        if (value > highestValue) {
            highestValue = value;
            highest = fields[i];
        }
    }
    return highest;
}

void GrabOnRequest(Grab& grab) {
    ModuleSession& session = grab.session;
    // Or the module would offer the frames to the procedures, too.
    session.Command("TriggerProcessRunStatus", "False");
    session.Command("SoftTriggerWaitTime", std::to_string(grab.options.timeoutSeconds));
    session.Command("TriggerOn", "1");
    const std::string source = grab.options.triggerSource
                                   ? std::to_string(*grab.options.triggerSource)
                                   : SoftwareTriggerSource(session);
    if (!source.empty()) {
        session.Command("TriggerSource", source);
    }
    while (grab.GoesOn()) {
        grab.Take();
    }
}

void GrabRunByCamera(Grab& grab) {
    Procedures& procedures = grab.observer.HostProcedures();
    grab.session.Command("TriggerProcessRunStatus", "True");
    grab.session.Command("TriggerOff", "1");
    const auto timeout = std::chrono::seconds(grab.options.timeoutSeconds);
    auto deadline = Clock::now() + timeout;
    while (grab.GoesOn()) {
        if (const auto run = procedures.WaitForRun(kInterruptInterval)) {
            grab.Take();
            procedures.Done(*run);
            deadline = Clock::now() + timeout;
        } else if (Clock::now() >= deadline) {
            grab.run.NotDelivered();
            deadline = Clock::now() + timeout;
        }
    }
    procedures.Close();
    // A lost camera cannot be stopped, and need not be.
    static_cast<void>(grab.session.TryCommand("TriggerOn", "1"));
}

ExitCode Outcome(const Grab& grab) {
    if (Interrupted()) {
        return ExitCode::Interrupted;
    }
    // Output that fails is told by main.
    return grab.run.Frames() < grab.wanted && !OutputFailed() ? ExitCode::NoFrame : ExitCode::Ok;
}

// Ends the saving and says how the run went.
ExitCode Conclude(Grab& grab, const std::string& summary) {
    grab.progress.reset();
    std::string text = summary;
    if (grab.writer) {
        text += "pictures saved  " + std::to_string(grab.writer->Finish()) + " in " +
                grab.options.outputFolder + "\n";
    }
    std::fputs(text.c_str(), Output());
    const ExitCode outcome = Outcome(grab);
    if (outcome == ExitCode::NoFrame) {
        std::fputs("camera_host: no frame came any more\n", stderr);
    }
    return outcome;
}

// The files that the module takes for pictures.
std::uint64_t CountPictures(const std::string& folder) {
    constexpr std::string_view kEndings[] = {".bmp", ".jpg", ".png", ".jpeg", ".tif"};
    std::error_code error;
    std::filesystem::directory_iterator entries(
        std::filesystem::path(std::u8string(folder.begin(), folder.end())), error);
    if (error) {
        throw Failure("the folder '" + folder + "' cannot be listed");
    }
    return static_cast<std::uint64_t>(
        std::count_if(begin(entries), end(entries), [&](const auto& entry) {
            const std::u8string name = entry.path().filename().u8string();
            const std::string plain(name.begin(), name.end());
            return std::any_of(std::begin(kEndings), std::end(kEndings), [&](auto ending) {
                return plain.find(ending) != std::string::npos;
            });
        }));
}

const char* FormatName(std::uint32_t pixelType) {
    switch (pixelType) {
        case pixel_format::kMono8:
            return "Mono8";
        case pixel_format::kRGB8:
            return "RGB8";
        default:
            return "unknown";
    }
}

}  // namespace

ExitCode RunGrab(const Options& options) {
    FrameObserver observer(options.procedures);
    ModuleSession session(options, observer);
    session.OpenCamera(options, true);
    session.RelateProcedures(options.runByCamera ? options.procedures : 1);
    const TransportErrors before = TransportErrors::Parse(session.Get("CameraErrorInfo"));

    // A camera opened by address tells no serial number.
    const std::string identity =
        options.address ? options.address->camera : session.Get("SerialNumber");
    std::string summary = "camera          " + session.Get("ModelName") + " (" + identity + "), " +
                          (options.runByCamera ? "run by camera\n" : "on request\n");
    Grab grab(options, session, observer, options.frames.value_or(kDefaultFrames));
    grab.progress.emplace(grab.wanted);
    if (options.runByCamera) {
        GrabRunByCamera(grab);
    } else {
        GrabOnRequest(grab);
    }
    TransportErrors errors = TransportErrors::Parse(session.Get("CameraErrorInfo"));
    errors.errorFrames -= before.errorFrames;
    errors.lostFrames -= before.lostFrames;
    errors.lostPackets -= before.lostPackets;
    return Conclude(grab, summary + grab.run.Summary(errors));
}

ExitCode RunFolder(const Options& options) {
    const std::string& folder = options.arguments.front();
    if (folder.find_first_of(" \t") != std::string::npos) {
        throw Failure("the module takes a folder's path up to the first blank only: '" + folder +
                      "'");
    }
    const std::uint64_t pictures = CountPictures(folder);
    if (pictures == 0) {
        throw Failure(ExitCode::NoFrame, "the folder '" + folder + "' holds no pictures");
    }
    FrameObserver observer(1);
    ModuleSession session(options, observer);
    session.Set("DebugMode", "True");
    session.Set("FileFolderName", folder);

    Grab grab(options, session, observer, options.frames.value_or(pictures));
    while (grab.GoesOn()) {
        Frame frame;
        if (session.TakeFrame(frame) != 0) {
            throw Failure(ExitCode::NoFrame, "the module delivers no picture of '" + folder + "'");
        }
        const cam::BufferNode& record = frame.Record();
        grab.run.Taken(record);
        std::fprintf(Output(), "%llu\t%ux%u\t%s\t%u bytes\n",
                     static_cast<unsigned long long>(grab.run.Frames()), record.width,
                     record.height, FormatName(record.pixelType), record.dataLength);
        if (grab.writer && grab.run.Frames() % options.saveEvery == 0) {
            grab.writer->Write(std::move(frame), grab.run.Frames());
        }
    }
    return Conclude(grab, {});
}

}  // namespace host
