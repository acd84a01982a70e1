#include "host/command_line.h"

#include <gmock/gmock.h>

#include "host/text.h"

namespace host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

Options Parse(const std::vector<std::string>& arguments) {
    return ParseCommandLine(arguments, 80);
}

TEST(CommandLine, AGrabWithEverythingOnIsUnderstood) {
    const Options options =
        Parse({"grab", "--camera", "A 1", "--frames", "100", "--run-by-camera", "--out", "dir",
               "--format", "raw", "--save-every=5", "--set", "Gain=2.5", "--set=Name=a=b",
               "--log-level", "2", "--simulate", "gige; usb3"});
    EXPECT_EQ(options.command, Command::Grab);
    EXPECT_EQ(options.camera, "A 1");
    EXPECT_EQ(options.frames, 100U);
    EXPECT_TRUE(options.runByCamera);
    EXPECT_EQ(options.recording.folder, "dir");
    EXPECT_EQ(options.recording.format, PictureFormat::Raw);
    EXPECT_EQ(options.recording.every, 5U);
    EXPECT_THAT(options.settings, ElementsAre(Pair("Gain", "2.5"), Pair("Name", "a=b")));
    EXPECT_EQ(options.logLevel, 2);
    EXPECT_EQ(options.simulate, "gige; usb3");
}

TEST(CommandLine, AnAddressTakesThatOfTheNetworkCardWhereItFollows) {
    const auto expect = [](const std::vector<std::string>& arguments, const char* local) {
        const Options options = Parse(arguments);
        ASSERT_TRUE(options.address);
        EXPECT_EQ(options.address->camera, "10.0.0.2");
        EXPECT_EQ(options.address->local, local);
    };
    expect({"grab", "--ip", "10.0.0.2", "10.0.0.1"}, "10.0.0.1");
    expect({"grab", "--ip=10.0.0.2", "10.0.0.1"}, "10.0.0.1");
    expect({"grab", "--ip", "10.0.0.2", "--frames", "3"}, "");
    expect({"get", "--ip", "10.0.0.2", "Width"}, "");
}

TEST(CommandLine, OptionsMayStandAnywhereButBehindTwoDashes) {
    const Options options =
        Parse({"--module", "x.so", "set", "A", "--camera", "S", "1", "--log-level", "2"});
    EXPECT_EQ(options.command, Command::Set);
    EXPECT_EQ(options.module, "x.so");
    EXPECT_EQ(options.logLevel, 2);
    EXPECT_EQ(options.camera, "S");
    EXPECT_THAT(options.arguments, ElementsAre("A", "1"));
    EXPECT_THAT(Parse({"set", "--", "Text", "--frames"}).arguments,
                ElementsAre("Text", "--frames"));
    // A single dash is none of an option's.
    EXPECT_THAT(Parse({"set", "OffsetX", "-1"}).arguments, ElementsAre("OffsetX", "-1"));
}

TEST(CommandLine, WrongUsageIsRefused) {
    const std::vector<std::vector<std::string>> wrong = {
        {"shoot"},                   // no such command
        {"--camera", "S"},           // no command
        {"list", "--quickly"},       // no such option
        {"list", "--frames", "3"},   // another command's option
        {"grab", "--frames"},        // value missing
        {"grab", "--ip", "10.0.0"},  // no address
        {"grab", "--ip", "10.0.0.2", "10.0.0.300"},
        {"grab", "--seconds", "0"},  // out of range
        {"grab", "--frames", "-3"},
        {"grab", "--format", "gif"},
        {"grab", "--frames", "3x"},
        {"grab", "--frames", "99999999999999999999"},
        {"list", "--log-level", "0"},
        {"list", "--log-level", "5"},
        {"grab", "--camera", ""},  // would be the first camera
        {"grab", "--camera", "0"},
        {"grab", "--set", "Gain"},  // no value
        {"grab", "--set", "=1"},    // no key
        {"grab", "extra"},          // takes no arguments
        {"get"},                    // takes one
        {"get", "A", "B"},
        {"set", "A"},  // takes pairs
        {"set", "A", "1", "B"},
        {"grab", "--camera", "S", "--ip", "10.0.0.2"},  // exclude each other
    };
    for (const auto& arguments : wrong) {
        EXPECT_THROW(static_cast<void>(ParseCommandLine(arguments, 80)), UsageError)
            << testing::PrintToString(arguments);
    }
}

// What a person reads who mistyped something.
TEST(CommandLine, AMistypedWordGetsTheNearestOneSuggested) {
    const auto message = [](const std::vector<std::string>& arguments) -> std::string {
        try {
            static_cast<void>(Parse(arguments));
        } catch (const UsageError& error) {
            return error.what();
        }
        return {};
    };
    EXPECT_EQ(message({"grap"}), "there is no command 'grap' (did you mean 'grab'?)");
    EXPECT_EQ(message({"grab", "--frame=3"}),
              "'grab' has no option --frame (did you mean '--frames'?)");
    EXPECT_EQ(message({"grab", "--out"}), "--out takes DIR");
    EXPECT_EQ(message({"set", "A"}), "'set' takes KEY VALUE [KEY VALUE ...]");
}

TEST(CommandLine, HelpIsGivenWhateverElseStandsThere) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{{},
                                                                       {"--help"},
                                                                       {"-h"},
                                                                       {"set", "A", "-h"},
                                                                       {"help"},
                                                                       {"help", "grab"},
                                                                       {"get", "--help"},
                                                                       {"set", "A", "--help"}}) {
        const Options options = ParseCommandLine(arguments, 80);
        EXPECT_EQ(options.command, Command::Help);
        EXPECT_THAT(options.text, HasSubstr("usage: camera_host"));
    }
    EXPECT_THAT(Parse({"grab", "--help"}).text, HasSubstr("--save-every"));
    EXPECT_THAT(Parse({"list", "--help"}).text, testing::Not(HasSubstr("--save-every")));
}

TEST(CommandLine, HelpCompletionAndManPageTellOfEveryCommand) {
    const std::string help = Parse({"--help"}).text;
    const std::string completion = Parse({"completion"}).text;
    const std::string page = Parse({"man"}).text;
    for (const std::string command : {"list", "features", "describe", "get", "set", "params",
                                      "grab", "watch", "doctor", "save", "load", "folder"}) {
        EXPECT_THAT(help, HasSubstr("  " + command + " "));
        EXPECT_THAT(completion, HasSubstr(command + ") words="));
        EXPECT_THAT(page, HasSubstr(".SS " + command));
    }
}

TEST(CommandLine, HelpFitsTheWidth) {
    for (const std::size_t width : {40U, 80U}) {
        for (const std::string& line : WrapLines(
                 ParseCommandLine(std::vector<std::string>{"grab", "-h"}, width).text, 1000)) {
            // Examples are one line each, to be copied.
            EXPECT_TRUE(line.size() <= width || line.starts_with("  camera_host")) << line;
        }
    }
}

}  // namespace
}  // namespace host
