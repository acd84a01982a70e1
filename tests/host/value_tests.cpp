#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "host/choice_list.h"
#include "host/progress.h"
#include "host/table.h"
#include "host/text.h"
#include "host/value_info.h"

namespace host {
namespace {

using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;

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

TEST(ValueInfo, TakesValueAndRangeApart) {
    const auto expect = [](ValueType type, const std::string& text, const char* value,
                           const std::string& range) {
        const ValueInfo info = DescribeFeature("F", type, text);
        EXPECT_EQ(info.value, value) << text;
        EXPECT_EQ(RangeText(info), range) << text;
    };
    expect(ValueType::Integer, "640$16$1920$16$1$", "640", "16 to 1920, step 16");
    expect(ValueType::Integer, "50", "50", "");
    expect(ValueType::Float, "1.000$0.500$8.000$1.000000$", "1.000", "0.500 to 8.000");
    expect(ValueType::Enumeration, "7$0$1$7", "7", "0, 1, 7");
    expect(ValueType::Enumeration, "-1", "-1", "");
    // Cut off by the module, the last number may be half of one.
    expect(ValueType::Enumeration, "1$23$" + std::string(250, '2'), "1", "23");
    expect(ValueType::Boolean, "False$$$$$", "False", "True, False");
    expect(ValueType::Text, "a$b", "a$b", "");
    expect(ValueType::Cameras, "2$SN0002$$$$Close\rCam A (SN0001)\rMaker Model (SN0002)", "SN0002",
           "SN0001, SN0002");
    expect(ValueType::Cameras, "0$0$$$$Close", "", "");
}

TEST(ValueInfo, HasStableNamesInJson) {
    const cam::ParameterInfo* const key = cam::FindParameterInfo("ImageCacheNum");
    ASSERT_NE(key, nullptr);
    const Json json = ToJson(DescribeKey(*key, "50"));
    EXPECT_EQ(json["name"], "ImageCacheNum");
    EXPECT_EQ(json["value"], 50);
    EXPECT_EQ(json["access"], "read, write");
    EXPECT_EQ(ToJson(DescribeFeature("F", ValueType::Float, "1.5$0$2$"))["maximum"], 2);
    ValueInfo feature = DescribeFeature("PixelFormat", ValueType::Enumeration, "1$1$2");
    feature.entries[0].name = feature.value = "Mono8";
    EXPECT_EQ(ToJson(feature)["value"], "Mono8");
    EXPECT_EQ(ToJson(feature)["entries"][0]["name"], "Mono8");
}

TEST(Table, SeparatesByTabsForProgramsAndFitsATerminal) {
    Table table({"KEY", "VALUE", "MEANING"});
    table.Add({"Länge", "1", "how long it is from end to end"});
    table.Add({"X", "22", ""});
    EXPECT_EQ(table.Text(0), "Länge\t1\thow long it is from end to end\nX\t22\t\n");
    EXPECT_EQ(table.Text(80),
              "KEY    VALUE  MEANING\n"
              "Länge  1      how long it is from end to end\n"
              "X      22\n");
    EXPECT_EQ(table.Text(40),
              "KEY    VALUE  MEANING\n"
              "Länge  1      how long it is from end to\n"
              "              end\n"
              "X      22\n");
    EXPECT_EQ(table.Text(30),
              "Länge\n  value: 1\n  meaning: how long it is\n    from end to end\n"
              "X\n  value: 22\n");
}

TEST(NearestWord, IsWhatWasMostLikelyMeant) {
    const std::vector<std::string> names = {"ExposureTimeAbs", "ImageCacheNum", "Width", "Height"};
    EXPECT_EQ(NearestWord("imagecachenum", names), "ImageCacheNum");
    EXPECT_EQ(NearestWord("Widht", names), "Width");
    EXPECT_EQ(NearestWord("ExposureTme", names), "ExposureTimeAbs");
    EXPECT_EQ(NearestWord("Gain", names), "");
}

TEST(MatchesPattern, FindsPartsAndWildcards) {
    EXPECT_TRUE(MatchesPattern("TriggerMode", "trigger"));
    EXPECT_TRUE(MatchesPattern("TriggerMode", "*mode"));
    EXPECT_TRUE(MatchesPattern("TriggerMode", "t*r*m?de"));
    EXPECT_FALSE(MatchesPattern("TriggerMode", "mode*"));
    EXPECT_FALSE(MatchesPattern("TriggerMode", "Gain"));
}

TEST(ProgressLine, FitsTheTerminalWhateverTheNumbers) {
    EXPECT_EQ(ProgressLine(5, 10, 29.97, 80),
              "[" + std::string(20, '#') + std::string(20, '.') + "] 5/10 frames  30.0 fps");
    for (const std::size_t width : {1U, 10U, 24U, 30U, 40U, 80U}) {
        EXPECT_LT(ProgressLine(123'456, 1'000'000, 1234.5, width).size(), width);
    }
    EXPECT_EQ(ProgressLine(7, 0, 25, 80), "7 frames  25.0 fps");
}

}  // namespace
}  // namespace host
