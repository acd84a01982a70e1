#include <gmock/gmock.h>

#include <map>

#include "host/choice_list.h"
#include "host/parameter_help.h"
#include "host/progress.h"
#include "host/text.h"

namespace host {
namespace {

using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Pair;

TEST(ChoiceList, GivesTheCamerasAndTheConnectedOne) {
    const ChoiceList list =
        ParseChoiceList("2$SN0002$$$$Close\rLeft (old) $5 (S1)\rMaker Model (SN0002)\r");
    EXPECT_EQ(list.selected, 2);
    EXPECT_EQ(list.connectedSerial, "SN0002");
    EXPECT_THAT(list.cameras,
                ElementsAre(FieldsAre("Left (old) $5", "S1"), FieldsAre("Maker Model", "SN0002")));
    EXPECT_EQ(ParseChoiceList("0$0$$$$Close").connectedSerial, "");
}

TEST(ChoiceList, TextThatIsNoListGivesNoCameras) {
    for (const char* text :
         {"", "$", "1$2$3", "0$0$$$$Close", "NULL$0$0$1$1$1", "0$0$$$$Close\rno serial\r()\r)"}) {
        EXPECT_THAT(ParseChoiceList(text).cameras, IsEmpty()) << text;
    }
}

TEST(Parameters, AreTheModulesKeysForPeopleAndThenCameraFeatures) {
    std::map<std::string_view, ValueKind> kinds;
    for (const ParameterHelp& parameter : AllParameters()) {
        EXPECT_TRUE(kinds.emplace(parameter.key, parameter.kind).second) << parameter.key;
    }
    EXPECT_THAT(
        kinds,
        IsSupersetOf(
            {Pair("CameraName", ValueKind::Choice), Pair("ImageCacheNum", ValueKind::Integer),
             Pair("DebugMode", ValueKind::Switch), Pair("AutoConnect", ValueKind::Switch),
             Pair("CameraErrorInfo", ValueKind::Text), Pair("LogLevel", ValueKind::Command),
             Pair("TriggerOn", ValueKind::Command), Pair("ExposureTime", ValueKind::Float)}));
    // An image is no text to print, and reading one would trigger the camera.
    EXPECT_FALSE(kinds.contains("CameraImage"));
    EXPECT_EQ(AllParameters().back().key, "DeviceModelName");
}

TEST(ShownValue, TakesValueAndRangeApart) {
    const auto expect = [](ValueKind kind, const char* text, const char* value, const char* range) {
        EXPECT_THAT(ShowValue(kind, text), FieldsAre(value, range)) << text;
    };
    expect(ValueKind::Integer, "640$16$1920$16$1$", "640", "16 to 1920, step 16");
    expect(ValueKind::Integer, "50", "50", "");
    expect(ValueKind::Float, "1.000$0.500$8.000$1.000000$", "1.000", "0.500 to 8.000");
    expect(ValueKind::Enumeration, "7$0$1$7", "7", "0, 1, 7");
    expect(ValueKind::Enumeration, "-1", "-1", "");
    const std::string cut = "1$" + std::string(252, '2') + "$";
    expect(ValueKind::Enumeration, (cut + "3").c_str(), "1",
           (std::string(252, '2') + ", ...").c_str());
    expect(ValueKind::Switch, "False$$$$$", "False", "True, False");
    expect(ValueKind::Text, "a$b", "a$b", "");
    expect(ValueKind::Choice, "2$SN0002$$$$Close\rCam A (SN0001)\rMaker Model (SN0002)", "SN0002",
           "SN0001, SN0002");
    expect(ValueKind::Choice, "0$0$$$$Close", "", "");
}

TEST(Table, LinesUpForATerminalAndSeparatesByTabsForPrograms) {
    Table table({"KEY", "VALUE"});
    table.Add({"Länge", "1"});
    table.Add({"X", "22"});
    EXPECT_EQ(table.Text(true), "KEY    VALUE\nLänge  1\nX      22\n");
    EXPECT_EQ(table.Text(false), "Länge\t1\nX\t22\n");
}

TEST(Shortened, CutsOnlyWhatIsTooLong) {
    EXPECT_EQ(Shortened("0, 1, 7", 7), "0, 1, 7");
    EXPECT_EQ(Shortened("0, 1, 7, 8", 7), "0, 1...");
}

TEST(ProgressLine, FitsALineWhateverTheNumbers) {
    EXPECT_EQ(ProgressLine(5, 10, 29.97),
              "[" + std::string(20, '#') + std::string(20, '.') + "] 5/10 frames  30.0 fps");
    EXPECT_LT(ProgressLine(11, 10, 0).find("] 11/10"), 50U);
    EXPECT_LT(ProgressLine(0, 0, 0).size(), 80U);
}

}  // namespace
}  // namespace host
