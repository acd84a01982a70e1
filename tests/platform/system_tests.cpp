#include "platform/system.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>

namespace platform {
namespace {

TEST(System, MakesUpperCaseGuidsThatAllDiffer) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const std::string guid = NewGuidText();
        EXPECT_TRUE(seen.insert(guid).second) << guid;
        std::string form = guid;
        std::replace_if(
            form.begin(), form.end(),
            [](char c) {
                return std::string_view("0123456789ABCDEF").find(c) != std::string::npos;
            },
            'X');
        EXPECT_EQ(form, "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}") << guid;
        EXPECT_EQ(guid[15], '4') << guid << " is not of the random kind";
    }
}

TEST(System, TellsTheFileThatCodeWasLoadedFrom) {
    static const int here = 0;
    const std::string path = ModuleFilePath(&here);
    EXPECT_TRUE(std::filesystem::exists(std::u8string(path.begin(), path.end()))) << path;
    EXPECT_THAT(path.substr(path.find_last_of(kPathSeparator) + 1),
                testing::StartsWith("platform_tests"));
    const int onTheStack = 0;
    EXPECT_EQ(ModuleFilePath(&onTheStack), "");
}

}  // namespace
}  // namespace platform
