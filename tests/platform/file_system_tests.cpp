#include "platform/file_system.h"

#include <gmock/gmock.h>

#include "platform/code_page.h"
#include "platform/system.h"
#include "tests/platform/allocation_failure.h"
#include "tests/platform/support.h"

namespace platform {
namespace {

using testing::IsEmpty;
using testing::Optional;
using testing::UnorderedElementsAre;

const std::string kGerman =
    "Stra\xC3\x9F"
    "e.png";
const std::string kChinese = "\xE5\x9B\xBE\xE5\x83\x8F.bmp";

std::filesystem::path Utf8Path(const std::string& text) {
    return std::u8string(text.begin(), text.end());
}

TEST(FileSystem, ListsNamesInUtf8) {
    const test::TemporaryFolder folder;
    EXPECT_THAT(ListFolder(folder.Utf8()), Optional(IsEmpty()));
    test::WriteFile(folder.Path() / Utf8Path(kGerman), "x");
    test::WriteFile(folder.Path() / Utf8Path(kChinese), "x");
    std::filesystem::create_directory(folder.Path() / "inner");
    const auto all = Optional(UnorderedElementsAre(kGerman, kChinese, "inner"));
    EXPECT_THAT(ListFolder(folder.Utf8()), all);
    EXPECT_THAT(ListFolder(folder.Utf8() + kPathSeparator), all);
    EXPECT_TRUE(PathExists(folder.Utf8() + kPathSeparator));
    EXPECT_TRUE(PathExists(JoinPath(folder.Utf8(), kGerman)));
}

TEST(FileSystem, GivesUpOnWhatIsNoFolder) {
    const test::TemporaryFolder folder;
    const std::string file = JoinPath(folder.Utf8(), "file");
    test::WriteFile(Utf8Path(file), "x");
    const std::string missing = JoinPath(folder.Utf8(), "missing");
    EXPECT_FALSE(PathExists(missing));
    EXPECT_FALSE(PathExists(""));
    EXPECT_FALSE(PathExists(std::string(100000, 'x')));
    for (const std::string& path : {missing, file, std::string(), std::string(100000, 'x')}) {
        EXPECT_EQ(ListFolder(path), std::nullopt) << path.substr(0, 100);
    }
}

TEST(FileSystem, TakesLackOfMemoryForAFailure) {
    const test::TemporaryFolder folder;
    const std::string path = folder.Utf8() + kPathSeparator;
    for (const std::string& name : {kGerman, kChinese, std::string(200, 'x')}) {
        test::WriteFile(folder.Path() / Utf8Path(name), "x");
    }
    int listedInPart = 0;
    const int failures = test::FailEachAllocation([&] {
        const auto names = ListFolder(path);
        listedInPart += names && names->size() != 3 ? 1 : 0;
    });
    EXPECT_GT(failures, 5);
    EXPECT_EQ(listedInPart, 0);
    EXPECT_GT(test::FailEachAllocation([&] { static_cast<void>(PathExists(path)); }), 0);
    // The others let std::bad_alloc through.
    EXPECT_GT(test::FailEachAllocation([&] { static_cast<void>(JoinPath(path, path)); }), 0);
    const std::string longText(1000, '\xFC');
    EXPECT_GT(test::FailEachAllocation([&] { static_cast<void>(Utf8ToSystem(AsUtf8(longText))); }),
              1);
}

}  // namespace
}  // namespace platform
