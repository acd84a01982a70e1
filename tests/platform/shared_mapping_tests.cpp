#include "platform/shared_mapping.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

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

TEST(SharedMapping, IsZeroAtFirstAndSeenByAnotherProcess) {
    constexpr std::uint64_t kSize = 3 * 1024 * 1024 + 17;
    const test::TemporaryFolder folder;
    const auto copy = folder.Path() / "copy";
    const std::string name = RegionName();
    SharedMapping mapping;
    ASSERT_EQ(mapping.Create(name.c_str(), kSize), 0);
    ASSERT_EQ(mapping.Map(), 0);
    EXPECT_EQ(mapping.Size(), kSize);
    EXPECT_TRUE(std::all_of(mapping.View(), mapping.View() + kSize,
                            [](std::byte byte) { return byte == std::byte{0}; }));
    std::string text(kSize, '\0');
    for (std::size_t i = 0; i < text.size(); ++i) {
        text[i] = static_cast<char>(i * 31 + i / 4096);
    }
    Fill(mapping, text);
    ASSERT_EQ(test::RunHelper({"copy-mapping", name, copy.string()}), 0);
    EXPECT_TRUE(test::ReadFile(copy).starts_with(text));
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
    if (mapping.Create(name.c_str(), 100) == 0) {
        ASSERT_EQ(mapping.Map(), 0);
        Fill(mapping, "new");
    } else {
        EXPECT_FALSE(mapping.IsOpen());
    }
    EXPECT_EQ(reader.View()[0], std::byte('o'));
    reader = SharedMapping();
    EXPECT_EQ(mapping.Create(name.c_str(), 100), 0) << "a refused Create holds nothing open";
}

TEST(SharedMapping, MovesWithItsView) {
    const std::string name = RegionName();
    SharedMapping mapping;
    ASSERT_EQ(mapping.Create(name.c_str(), 100), 0);
    ASSERT_EQ(mapping.Map(), 0);
    Fill(mapping, "moved");
    SharedMapping other;
    ASSERT_EQ(other.Create(RegionName().c_str(), 10), 0);
    other = std::move(mapping);
    EXPECT_FALSE(mapping.IsOpen());
    EXPECT_EQ(mapping.View(), nullptr);
    EXPECT_EQ(mapping.Close(), 0);
    EXPECT_EQ(other.View()[4], std::byte('d'));
    SharedMapping reader;
    EXPECT_EQ(reader.Open(name.c_str()), 0) << "the name goes with the owner";
}

TEST(SharedMapping, RefusesWhatCannotBe) {
    const std::string name = RegionName();
    SharedMapping mapping;
    EXPECT_NE(mapping.Create(name.c_str(), 0), 0);
    EXPECT_NE(mapping.Create(name.c_str(), std::uint64_t{1} << 60), 0);
    EXPECT_NE(mapping.Create("", 100), 0);
    EXPECT_NE(mapping.Create(nullptr, 100), 0);
    EXPECT_NE(mapping.Create(std::string(SharedMapping::kMaxName, 'x').c_str(), 100), 0);
    EXPECT_FALSE(mapping.IsOpen());
    EXPECT_NE(mapping.Map(), 0);
    EXPECT_NE(mapping.Open(name.c_str()), 0) << "a failed Create leaves nothing behind";
}

}  // namespace
}  // namespace platform
