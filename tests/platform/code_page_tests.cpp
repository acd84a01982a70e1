#include "platform/code_page.h"

#include <gtest/gtest.h>

#include <string>

namespace platform {
namespace {

using namespace std::string_literals;

TEST(CodePage, TellsUtf8FromOtherText) {
    for (const std::string& text :
         {""s, "plain"s, "\0"s, "\x7F"s, "\xC2\x80"s, "gr\xC3\xBC\xC3\x9F"s, "\xE0\xA0\x80"s,
          "\xED\x9F\xBF"s, "\xEE\x80\x80"s, "\xF0\x90\x80\x80"s, "\xF4\x8F\xBF\xBF"s}) {
        EXPECT_TRUE(IsValidUtf8(text)) << text;
    }
    for (const std::string& text :
         {"\x80"s, "a\xC3"s, "\xE4\xB8"s, "\xF0\x9F\x98"s,                 // cut short
          "\xC3("s, "\xE4\xB8z"s, "\xF0\x9F\xC3\xBC"s,                     // wrong follower
          "\xC0\xAF"s, "\xC1\xBF"s, "\xE0\x9F\xBF"s, "\xF0\x8F\xBF\xBF"s,  // overlong
          "\xED\xA0\x80"s,                                                 // half of a pair
          "\xF4\x90\x80\x80"s, "\xF5\x80\x80\x80"s, "\xFF"s}) {            // too large
        EXPECT_FALSE(IsValidUtf8(text)) << testing::PrintToString(text);
    }
    EXPECT_FALSE(IsValidUtf8(std::string_view("\xC3\xBC").substr(0, 1))) << "read beyond its end";
}

TEST(CodePage, ConvertsBothWays) {
    const std::string system =
        "5 \x80, gr\xFC\xDF"
        "e";
    const std::string utf8 =
        "5 \xE2\x82\xAC, gr\xC3\xBC\xC3\x9F"
        "e";
    EXPECT_EQ(SystemToUtf8(system), utf8);
    EXPECT_EQ(Utf8ToSystem(utf8), system);
    EXPECT_EQ(AsUtf8(system), utf8);
    EXPECT_EQ(AsUtf8(utf8), utf8);
    EXPECT_EQ(SystemToUtf8(""), "");
    EXPECT_EQ(Utf8ToSystem(""), "");

    std::string longSystem;
    std::string longUtf8;
    for (int i = 0; i < 1000; ++i) {  // goes beyond any buffer of fixed size, at odd places
        longSystem += system;
        longUtf8 += utf8;
    }
    EXPECT_EQ(SystemToUtf8(longSystem), longUtf8);
    EXPECT_EQ(Utf8ToSystem(longUtf8), longSystem);
}

TEST(CodePage, MarksWhatCannotBeConverted) {
    EXPECT_EQ(Utf8ToSystem("a\xE4\xB8\xADz"), "a?z");
    EXPECT_EQ(Utf8ToSystem("a\xFFz"), "a?z");
    EXPECT_EQ(Utf8ToSystem("cut\xE4\xB8"), "cut?");
}

}  // namespace
}  // namespace platform
