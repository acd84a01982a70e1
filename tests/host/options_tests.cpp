#include "host/options.h"

#include <gmock/gmock.h>

namespace host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

Options Parse(const std::vector<std::string>& arguments) {
    return ParseOptions(arguments);
}

TEST(Options, AGrabWithEverythingOnIsUnderstood) {
    const Options options =
        Parse({"grab", "--camera", "A 1", "--frames", "100", "--run-by-camera", "--out", "dir",
               "--save-every=5", "--set", "Gain=2.5", "--set=Name=a=b", "--log-level", "2",
               "--simulate", "gige; usb3"});
    EXPECT_EQ(options.command, Command::Grab);
    EXPECT_EQ(options.camera, "A 1");
    EXPECT_EQ(options.frames, 100U);
    EXPECT_TRUE(options.runByCamera);
    EXPECT_EQ(options.outputFolder, "dir");
    EXPECT_EQ(options.saveEvery, 5U);
    EXPECT_THAT(options.settings, ElementsAre(Pair("Gain", "2.5"), Pair("Name", "a=b")));
    EXPECT_EQ(options.logLevel, 2);
    EXPECT_EQ(options.simulate, "gige; usb3");
}

TEST(Options, AnAddressIsTwoValues) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"grab", "--ip", "10.0.0.2", "10.0.0.1"}, {"grab", "--ip=10.0.0.2", "10.0.0.1"}}) {
        const Options options = ParseOptions(arguments);
        ASSERT_TRUE(options.address);
        EXPECT_EQ(options.address->camera, "10.0.0.2");
        EXPECT_EQ(options.address->local, "10.0.0.1");
    }
}

TEST(Options, OptionsMayStandAnywhereButBehindTwoDashes) {
    const Options options = Parse({"--module", "x.so", "set", "A", "--camera", "S", "1"});
    EXPECT_EQ(options.command, Command::Set);
    EXPECT_EQ(options.module, "x.so");
    EXPECT_EQ(options.camera, "S");
    EXPECT_THAT(options.arguments, ElementsAre("A", "1"));
    EXPECT_THAT(Parse({"set", "--", "Text", "--frames"}).arguments,
                ElementsAre("Text", "--frames"));
    // A single dash is none of an option's.
    EXPECT_THAT(Parse({"set", "OffsetX", "-1"}).arguments, ElementsAre("OffsetX", "-1"));
}

TEST(Options, WrongUsageIsRefused) {
    const std::vector<std::vector<std::string>> wrong = {
        {"shoot"},                     // no such command
        {"--camera", "S"},             // no command
        {"list", "--quickly"},         // no such option
        {"list", "--frames", "3"},     // another command's option
        {"grab", "--frames"},          // value missing
        {"grab", "--ip", "10.0.0.2"},  // one of two
        {"grab", "--frames", "0"},     // out of range
        {"grab", "--frames", "-3"},
        {"grab", "--frames", "3x"},
        {"grab", "--frames", "99999999999999999999"},
        {"list", "--log-level", "0"},
        {"list", "--log-level", "5"},
        {"grab", "--camera", ""},  // would be the first camera
        {"grab", "--camera", "0"},
        {"grab", "--ip=10.0.0.2"},
        {"grab", "--run-by-camera=1"},  // takes no value
        {"grab", "--set", "Gain"},      // no value
        {"grab", "--set", "=1"},        // no key
        {"grab", "extra"},              // takes no arguments
        {"get"},                        // takes one
        {"get", "A", "B"},
        {"set", "A"},  // takes pairs
        {"set", "A", "1", "B"},
        {"grab", "--camera", "S", "--ip", "a", "b"},  // exclude each other
    };
    for (const auto& arguments : wrong) {
        EXPECT_THROW(static_cast<void>(ParseOptions(arguments)), UsageError)
            << testing::PrintToString(arguments);
    }
}

TEST(Options, HelpIsGivenWhateverElseStandsThere) {
    for (const auto& arguments : std::vector<std::vector<std::string>>{{},
                                                                       {"--help"},
                                                                       {"-h"},
                                                                       {"set", "A", "-h"},
                                                                       {"help"},
                                                                       {"help", "grab"},
                                                                       {"get", "--help"},
                                                                       {"set", "A", "--help"}}) {
        const Options options = ParseOptions(arguments);
        EXPECT_EQ(options.command, Command::Help);
        EXPECT_THAT(options.helpText, HasSubstr("usage: camera_host"));
    }
    EXPECT_THAT(Parse({"grab", "--help"}).helpText, HasSubstr("--save-every"));
    EXPECT_THAT(Parse({"list", "--help"}).helpText, testing::Not(HasSubstr("--save-every")));
}

}  // namespace
}  // namespace host
