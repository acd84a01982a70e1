#include "platform/shared_mapping.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "platform/system.h"
#include "tests/platform/support.h"

namespace platform {
namespace {

std::string RegionName() {
    return "{3-0-" + std::to_string(CurrentProcessId()) + "-" + NewGuidText() + "-0}";
}

void Fill(SharedMapping& mapping, const std::string& text) {
    std::transform(text.begin(), text.end(), mapping.View(), [](char c) { return std::byte(c); });
}

TEST(SharedMapping, IsGoneWithItsName) {
    const std::string name = RegionName();
    SharedMapping mapping;
    ASSERT_EQ(mapping.Create(name.c_str(), 100), 0);
    ASSERT_EQ(mapping.Map(), 0);
    Fill(mapping, "old");
    SharedMapping reader;
    ASSERT_EQ(reader.Open(name.c_str()), 0);
    ASSERT_EQ(reader.Map(), 0);
    EXPECT_EQ(reader.View()[0], std::byte('o'));
    EXPECT_EQ(reader.Unmap(), 0);
    EXPECT_EQ(reader.Close(), 0);
    EXPECT_EQ(mapping.View()[0], std::byte('o')) << "a reader's end is not the owner's";

    EXPECT_EQ(mapping.Unmap(), 0);
    EXPECT_EQ(mapping.Close(), 0);
    EXPECT_EQ(mapping.Unmap(), 0) << "closing twice is harmless";
    EXPECT_EQ(mapping.Close(), 0);
    EXPECT_NE(reader.Open(name.c_str()), 0);

    ASSERT_EQ(mapping.Create(name.c_str(), 100), 0);
    ASSERT_EQ(mapping.Map(), 0);
    EXPECT_EQ(mapping.View()[0], std::byte{0}) << "made again under the old name, it is new";
}

// Whether the name can be had meanwhile is the system's choice.
TEST(SharedMapping, IsNeverTheMemoryThatAReaderStillHasOpen) {
    const std::string name = RegionName();
    SharedMapping reader;
    {
        SharedMapping before;
        ASSERT_EQ(before.Create(name.c_str(), 100), 0);
        ASSERT_EQ(before.Map(), 0);
        Fill(before, "old");
        ASSERT_EQ(reader.Open(name.c_str()), 0);
        ASSERT_EQ(reader.Map(), 0);
    }
    SharedMapping mapping;
    if (const int error = mapping.Create(name.c_str(), 100); error == 0) {
        ASSERT_EQ(mapping.Map(), 0);
        Fill(mapping, "new");
    } else {
        EXPECT_EQ(error, SharedMapping::kNameInUse);
        EXPECT_FALSE(mapping.IsOpen());
    }
    EXPECT_EQ(reader.View()[0], std::byte('o'));
    EXPECT_EQ(reader.Unmap(), 0);
    EXPECT_EQ(reader.Close(), 0);
    EXPECT_EQ(mapping.Create(name.c_str(), 100), 0) << "a refused Create holds nothing open";
}

TEST(SharedMapping, IsTheSameMemoryInAnotherProcess) {
    const test::TemporaryFolder folder;
    const auto copy = folder.Path() / "copy";
    const std::string name = RegionName();
    SharedMapping mapping;
    ASSERT_EQ(mapping.Create(name.c_str(), 5000), 0);
    ASSERT_EQ(mapping.Map(), 0);
    Fill(mapping, "first");
    mapping.View()[4999] = std::byte('z');
    ASSERT_EQ(test::RunHelper({"copy-mapping", name, copy.string()}), 0);
    const std::string seen = test::ReadFile(copy);
    ASSERT_GE(seen.size(), 5000U);
    EXPECT_EQ(seen.substr(0, 6), "first" + std::string(1, '\0'));
    EXPECT_EQ(seen[4999], 'z');

    ASSERT_EQ(mapping.Unmap(), 0);
    ASSERT_EQ(mapping.Close(), 0);
    EXPECT_NE(test::RunHelper({"copy-mapping", name, copy.string()}), 0);
}

TEST(SharedMapping, RefusesWhatCannotBe) {
    const std::string name = RegionName();
    SharedMapping mapping;
    EXPECT_NE(mapping.Create(name.c_str(), 0), 0);
    const int tooLarge = mapping.Create(name.c_str(), std::uint64_t{1} << 60);
    EXPECT_NE(tooLarge, 0);
    EXPECT_NE(tooLarge, SharedMapping::kNameInUse);
    EXPECT_NE(mapping.Create("", 100), 0);
    EXPECT_NE(mapping.Create(nullptr, 100), 0);
    EXPECT_NE(mapping.Create(std::string(SharedMapping::kMaxName, 'x').c_str(), 100), 0);
    EXPECT_FALSE(mapping.IsOpen());
    EXPECT_NE(mapping.Map(), 0);
    EXPECT_NE(mapping.Open(name.c_str()), 0) << "a failed Create leaves nothing behind";
    const std::string longest = name + std::string(SharedMapping::kMaxName - 1 - name.size(), 'x');
    EXPECT_EQ(mapping.Create(longest.c_str(), 100), 0);
}

}  // namespace
}  // namespace platform
