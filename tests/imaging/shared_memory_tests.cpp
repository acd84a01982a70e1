#include "imaging/shared_memory_base.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "imaging/region_name.h"
#include "module/framework/status_codes.h"
#include "platform/shared_mapping.h"
#include "platform/system.h"
#include "standins/module_frame/module_frame_host.h"
#include "tests/imaging/log_capture.h"

namespace cam {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr std::uint32_t kModule = 3;
constexpr std::uint32_t kTooLarge = 2'000'000'000;  // with its slack beyond 31 bits

struct Region {
    Status status = kOk;
    std::uint8_t* data = nullptr;
    const char* name = nullptr;
};

Region Allocate(CModuleSharedMemoryBase& regions, std::uint32_t size, std::int32_t key = 0,
                std::uint32_t moduleId = kModule) {
    Region region;
    region.status = regions.AllocateSharedMemory(moduleId, size, &region.data, &region.name, key);
    return region;
}

// As the host sees a region: empty when there is none of that name.
std::vector<std::uint8_t> HostView(const std::string& name, std::size_t length) {
    platform::SharedMapping mapping;
    if (mapping.Open(name.c_str()) != 0 || mapping.Map() != 0 || mapping.Size() < length) {
        return {};
    }
    std::vector<std::uint8_t> bytes(length);
    std::memcpy(bytes.data(), mapping.View(), length);
    return bytes;
}
bool Exists(const std::string& name) {
    return !HostView(name, 1).empty();
}

class SharedMemory : public testing::Test {
  protected:
    ~SharedMemory() override { ModuleFrame_SetBufferNodeNum(0); }

    tests::LogCapture m_log;
    SpareMemory m_spare;
    CModuleSharedMemoryBase m_regions{m_spare};
};

TEST(RegionNames, CarryTheirFieldsAndAreCutAtSixtyTwoCharacters) {
    constexpr char kGuid[] = "{01234567-89AB-CDEF-0123-456789ABCDEF}";
    EXPECT_EQ(RegionName(3, 0, 4711, kGuid, 0),
              "{3-0-4711-{01234567-89AB-CDEF-0123-456789ABCDEF}-0}");
    EXPECT_EQ(RegionName(1234567890, 0, 123456, kGuid, 78),
              "{1234567890-0-123456-{01234567-89AB-CDEF-0123-456789ABCDEF}-78");
    EXPECT_EQ(RegionName(-2147483647, 0, 1234567890, kGuid, 5),
              "{-2147483647-0-1234567890-{01234567-89AB-CDEF-0123-456789ABCDE");
}

TEST(RegionNames, AreReadUpToTheirSecondNumber) {
    EXPECT_EQ(ParseRegionName("{3-0-4711-{GUID}-0}"), (RegionOwner{3, 0}));
    EXPECT_EQ(ParseRegionName("{-1--2147483648"), (RegionOwner{-1, -2147483647 - 1}));
    EXPECT_EQ(ParseRegionName("{ 12- 7x"), (RegionOwner{12, 7}));
    for (const char* const garbage :
         {"", "{", "{}", "3-0-1", "{a-0-1}", "{3}", "{3-", "{3-x-1}", "{3 -0}", "{3--}",
          "{99999999999-0-1}", "{3-99999999999}", "\xFF\xFE"}) {
        EXPECT_EQ(ParseRegionName(garbage), std::nullopt) << garbage;
    }
}

TEST(RegionNames, TellTheirProcessOnlyWhenTheyAreWhole) {
    const std::string guid = "{01234567-89AB-CDEF-0123-456789ABCDEF}";
    EXPECT_EQ(ProcessOfRegion("{3-0-4711-" + guid + "-0}"), 4711U);
    EXPECT_EQ(ProcessOfRegion("{-3--1-4711-" + guid + "-12}"), 4711U);
    const std::string strangers[] = {"",
                                     "{3-0-4711-{}-0}",
                                     "{3-4711-" + guid + "-0}",
                                     "{3-0--4711-" + guid + "-0}",
                                     "{3-0-0-" + guid + "-0}",
                                     "{3-0-04711-" + guid + "-0}",
                                     "{3- 0-4711-" + guid + "-0}",
                                     "x{3-0-4711-" + guid + "-0}",
                                     "{3-0-4711-" + guid + "-0}x",
                                     "{3-0-4711-" + guid + "-0",
                                     "{3-0-4711-" + guid + "-",
                                     "{3-0-4711-{a1234567-89AB-CDEF-0123-456789ABCDEF}-0}",
                                     "{3-0-4711-{012345678-9AB-CDEF-0123-456789ABCDEF}-0}",
                                     "{3-0-4711-" + guid.substr(0, 37) + "0-0}"};
    for (const std::string& name : strangers) {
        EXPECT_EQ(ProcessOfRegion(name), std::nullopt) << name;
    }
}

TEST_F(SharedMemory, TheHostFindsTheHeaderAndTheImageByName) {
    const Region region = Allocate(m_regions, 1000);
    ASSERT_EQ(region.status, kOk);
    const std::string name = region.name;
    const std::string fields = "{3-0-" + std::to_string(platform::CurrentProcessId()) + "-{";
    EXPECT_THAT(name, AllOf(StartsWith(fields), EndsWith("}-0}"), SizeIs(fields.size() + 40)));
    EXPECT_THAT(m_log.Take(),
                ElementsAre("1 3 CModuleSharedMemoryBase::AllocateSharedMemory: Map view of file, "
                            "name=" +
                            name));
    region.data[0] = 0xA5;
    region.data[999] = 0x5A;

    std::vector<std::uint8_t> expected(128 + 1000);
    expected[0] = 1000 % 256;
    expected[1] = 1000 / 256;
    expected[14] = 128;
    name.copy(reinterpret_cast<char*>(&expected[16]), 64);
    expected[128] = 0xA5;
    expected[128 + 999] = 0x5A;
    EXPECT_EQ(HostView(name, 128 + 1000), expected);
}

TEST_F(SharedMemory, AWarmRegionServesWhatFitsBehindItsHeader) {
    // 1000 x 1.1 + 128 bytes are mapped: room for 1100. The node number is 1, so it is always
    // the same region.
    const Region first = Allocate(m_regions, 1000);
    std::uint8_t* const unwritten = first.data - 128 + 9;
    *unwritten = 0x77;
    first.data[0] = 0x42;
    for (const std::uint32_t size : {1U, 1000U, 1100U}) {
        const Region again = Allocate(m_regions, size);
        ASSERT_EQ(again.status, kOk);
        EXPECT_EQ(again.data, first.data);
        EXPECT_EQ(again.name, first.name);
        const auto view = HostView(first.name, 129);
        ASSERT_EQ(view.size(), 129U);
        EXPECT_EQ(view[0] + 256U * view[1], size);
        EXPECT_EQ(view[9], 0x77);  // nothing but the size was written
        EXPECT_EQ(view[128], 0x42);
    }
    const Region larger = Allocate(m_regions, 1101);
    ASSERT_EQ(larger.status, kOk);
    EXPECT_EQ(larger.name, first.name);
    EXPECT_EQ(larger.data[0], 0);  // a fresh mapping
    EXPECT_EQ(HostView(first.name, 128)[14], 128);
}

TEST_F(SharedMemory, AReleasedRegionIsClosedAndOpenedAgainUnderItsName) {
    ASSERT_EQ(m_regions.SetNodeNum("3", 2), kOk);
    const Region a = Allocate(m_regions, 100);
    const Region b = Allocate(m_regions, 100);
    const std::string name = a.name;
    ASSERT_NE(name, b.name);
    a.data[5] = 9;
    ASSERT_EQ(m_regions.ReleaseSharedMemory(kModule, a.name), kOk);
    EXPECT_FALSE(Exists(name));
    EXPECT_TRUE(Exists(b.name));
    EXPECT_EQ(m_regions.ReleaseSharedMemory(kModule, name.c_str()), kOk);  // twice is harmless

    const Region again = Allocate(m_regions, 100);
    EXPECT_EQ(again.name, name);
    EXPECT_EQ(again.data[5], 0);
    EXPECT_TRUE(Exists(name));
}

TEST_F(SharedMemory, RegionsAreRecycledInRotationOnceTheNodeNumberIsReached) {
    const std::string only = Allocate(m_regions, 10).name;
    EXPECT_EQ(Allocate(m_regions, 10).name, only);

    ASSERT_EQ(m_regions.SetNodeNum("2", 2), kOk);
    const std::string second = Allocate(m_regions, 10).name;
    EXPECT_NE(second, only);
    EXPECT_EQ(Allocate(m_regions, 10).name, only);
    EXPECT_EQ(Allocate(m_regions, 10).name, second);

    // Each key counts for itself.
    EXPECT_THAT(Allocate(m_regions, 10, -7).name, HasSubstr("{3--7-"));

    // The host's number counts when it is larger, and only when it can be had.
    ModuleFrame_SetBufferNodeNum(3);
    ModuleFrame_FailCalls("CQ_M_GetBufferNodeNum", 1, 1);
    EXPECT_EQ(Allocate(m_regions, 10).name, only);
    EXPECT_THAT(Allocate(m_regions, 10).name, HasSubstr("-2}"));
}

TEST_F(SharedMemory, NamesThatAreNotOursReleaseNothing) {
    const Region region = Allocate(m_regions, 10);
    const std::string name = region.name;
    static_cast<void>(m_log.Take());
    EXPECT_EQ(m_regions.ReleaseSharedMemory(kModule, nullptr), kInvalid);
    EXPECT_EQ(m_regions.ReleaseSharedMemory(kModule, "{3-0-1-unknown}"), kOk);
    EXPECT_EQ(m_regions.ReleaseSharedMemory(kModule, "{3-99-1-unknown key}"), kOk);
    EXPECT_EQ(m_regions.ReleaseSharedMemory(kModule, (name + "x").c_str()), kOk);
    EXPECT_THAT(m_log.Take(), IsEmpty());

    EXPECT_EQ(m_regions.ReleaseSharedMemory(4, name.c_str()), kInvalid);
    EXPECT_EQ(m_regions.ReleaseSharedMemory(kModule, "nonsense"), kBadRegionName);
    EXPECT_THAT(m_log.Take(),
                ElementsAre("4 -1 CModuleSharedMemoryBase::ReleaseSharedMemory: Module[4] want "
                            "release sharedmemory[" +
                                name + "]",
                            "4 -1 CModuleSharedMemoryBase::ParseSharedName: nonsense parse fail"));
    EXPECT_EQ(m_regions.ReleaseSharedMemory(kModule, std::string(5000, '{').c_str()),
              kBadRegionName);
    EXPECT_EQ(m_regions.ReleaseSharedMemory(kModule, ("{3-0-" + std::string(5000, '1')).c_str()),
              kOk);
    EXPECT_TRUE(Exists(name));
}

TEST_F(SharedMemory, RefusedRequestsHandOutNothing) {
    EXPECT_EQ(Allocate(m_regions, 0).status, kInvalid);
    const char* name = nullptr;
    EXPECT_EQ(m_regions.AllocateSharedMemory(kModule, 1, nullptr, &name, 0), kInvalid);
    for (const std::uint32_t size : {1'952'257'746U, kTooLarge, 0xFFFFFFFFU}) {
        const Region region = Allocate(m_regions, size);
        EXPECT_EQ(region.status, kNoRegion) << size;
        EXPECT_EQ(region.data, nullptr);
        EXPECT_EQ(region.name, nullptr);
    }
    EXPECT_THAT(m_log.Take(),
                Contains(MatchesRegex("4 3 CModuleSharedMemoryBase::CreateOpenMapping: Create file "
                                      "mapping, name=.*\\}, size=2200000128, error=0")));
    // Each of the three took one name, as another would not have helped; none comes again.
    EXPECT_THAT(Allocate(m_regions, 10).name, EndsWith("-3}"));
}

TEST_F(SharedMemory, ANameInUseIsReplacedByTheNextOne) {
    const std::string first = Allocate(m_regions, 10).name;
    // Windows keeps the name for whoever has the region open; Linux does not, but cannot replace a
    // folder.
    platform::SharedMapping reader;
    ASSERT_EQ(reader.Open(first.c_str()), 0);
    ASSERT_EQ(m_regions.ReleaseSharedMemory(kModule, first.c_str()), kOk);
    const std::filesystem::path folder = "/dev/shm/" + first;
    const bool isLinux = platform::kPathSeparator == '/';
    ASSERT_TRUE(!isLinux || std::filesystem::create_directory(folder));
    EXPECT_THAT(Allocate(m_regions, 10).name, EndsWith("-1}"));
    ASSERT_TRUE(!isLinux || std::filesystem::remove(folder));
}

TEST_F(SharedMemory, ARegionLostToAFailureLeavesNoNameTwice) {
    ASSERT_EQ(m_regions.SetNodeNum("2", 2), kOk);
    const Region first = Allocate(m_regions, 10);
    const std::string firstName = first.name;
    const Region second = Allocate(m_regions, 10);
    second.data[0] = 2;
    EXPECT_EQ(Allocate(m_regions, kTooLarge).status, kNoRegion);  // takes the first one along
    EXPECT_FALSE(Exists(firstName));

    const Region third = Allocate(m_regions, 10);
    ASSERT_EQ(third.status, kOk);
    EXPECT_STRNE(third.name, second.name);
    third.data[0] = 3;
    EXPECT_EQ(HostView(second.name, 129).back(), 2);
    EXPECT_EQ(HostView(third.name, 129).back(), 3);
}

TEST_F(SharedMemory, TheLongestIdsNeverGiveTwoRegionsOneName) {
    ASSERT_EQ(m_regions.SetNodeNum("3", 2), kOk);
    constexpr auto kLongestId = static_cast<std::uint32_t>(-2147483647 - 1);
    std::vector<std::string> names;
    for (int i = 0; i < 3; ++i) {
        if (const Region region = Allocate(m_regions, 10, -2147483647, kLongestId);
            region.status == kOk) {
            EXPECT_THAT(names, Not(Contains(std::string(region.name))));
            names.emplace_back(region.name);
        }
    }
    EXPECT_THAT(names, ElementsAre(SizeIs(62)));
}

TEST_F(SharedMemory, TheNodeNumberOnlyRises) {
    const auto number = [this] {
        const char* text = nullptr;
        std::uint32_t length = 0;
        EXPECT_EQ(m_regions.GetNodeNum(&text, &length), kOk);
        EXPECT_EQ(length, std::strlen(text));
        return std::string(text);
    };
    EXPECT_EQ(number(), "1");
    EXPECT_EQ(m_regions.SetNodeNum("12", 3), kOk);
    EXPECT_EQ(m_regions.SetNodeNum(" 5 nodes", 9), kOk);
    EXPECT_EQ(m_regions.SetNodeNum("", 1), kOk);
    EXPECT_EQ(m_regions.SetNodeNum("many", 5), kInvalid);
    EXPECT_EQ(m_regions.SetNodeNum(nullptr, 0), kInvalid);
    const std::string function = "CModuleSharedMemoryBase::SetNodeNum: ";
    EXPECT_THAT(
        m_log.Take(),
        ElementsAre("3 -1 " + function + "Set node num [12]",
                    "3 -1 " + function + "The current num of nodes [12] exceeds the set num [5]",
                    "3 -1 " + function + "The current num of nodes [12] exceeds the set num [0]",
                    "4 -1 " + function + "Parse node num fail ,data[many]"));
    const char unended[] = {'2', '0', '9'};
    EXPECT_EQ(m_regions.SetNodeNum(unended, 2), kOk);
    EXPECT_EQ(number(), "20");

    ModuleFrame_SetBufferNodeNum(4'000'000'000);
    EXPECT_EQ(number(), "4000000000");
    static_cast<void>(m_log.Take());
    ModuleFrame_FailCalls("CQ_M_GetBufferNodeNum", 1, 1);
    EXPECT_EQ(number(), "20");
    EXPECT_THAT(m_log.Take(),
                ElementsAre("4 -1 CModuleSharedMemoryBase::GetNodeNum: Get global node num fail"));
    EXPECT_EQ(m_regions.GetNodeNum(nullptr, nullptr), kInvalid);
}

TEST_F(SharedMemory, AFailedCloseIsLoggedAndTheRegionGoesOn) {
    if (platform::kPathSeparator != '/') {
        GTEST_SKIP() << "an object's name cannot be taken away here";
    }
    const Region region = Allocate(m_regions, 10);
    const std::string name = region.name;
    {
        platform::SharedMapping thief;
        ASSERT_EQ(thief.Create(region.name, 10), 0);
    }
    static_cast<void>(m_log.Take());
    EXPECT_EQ(m_regions.ReleaseSharedMemory(kModule, region.name), kOk);
    EXPECT_THAT(m_log.Take(),
                ElementsAre("4 -1 CModuleSharedMemoryBase::CloseMapping: Close file mapping "
                            "failed, name=" +
                            name + ", sys error=2"));
    EXPECT_EQ(Allocate(m_regions, 10).name, name);
    EXPECT_TRUE(Exists(name));
}

TEST_F(SharedMemory, NothingIsLeftBehindAndInstancesNeverMeet) {
    std::vector<std::string> names;
    {
        CModuleSharedMemoryBase other(m_spare);
        ASSERT_EQ(other.SetNodeNum("2", 2), kOk);
        for (const std::int32_t key : {0, 0, 5}) {
            names.emplace_back(Allocate(other, 10, key).name);
            EXPECT_TRUE(Exists(names.back()));
        }
        EXPECT_THAT(names, Not(Contains(std::string(Allocate(m_regions, 10).name))));
    }
    for (const std::string& name : names) {
        EXPECT_FALSE(Exists(name)) << name;
    }
}

void WaitUntilReady(const SpareMemory& spare, std::uint64_t size) {
    for (int look = 0; look < 10'000 && !spare.Ready(size); ++look) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_TRUE(spare.Ready(size));
}

TEST_F(SharedMemory, SpareMemoryIsOfTheSizeLastAskedForAndIsHandedOverOnce) {
    platform::SharedMapping taken;
    EXPECT_FALSE(m_spare.Take(5000, taken));
    m_spare.Prepare(5000);
    if (!platform::SharedMapping::kCanNameLater) {
        EXPECT_FALSE(m_spare.Ready(5000));
        return;
    }
    WaitUntilReady(m_spare, 5000);
    m_spare.Prepare(9000);
    WaitUntilReady(m_spare, 9000);
    EXPECT_FALSE(m_spare.Take(5000, taken));
    ASSERT_TRUE(m_spare.Take(9000, taken));
    EXPECT_EQ(taken.View()[8999], std::byte{0});
    EXPECT_FALSE(m_spare.Ready(9000));

    m_spare.Prepare(9000);
    WaitUntilReady(m_spare, 9000);
    m_spare.Stop();
    EXPECT_FALSE(m_spare.Ready(9000)) << "nothing is kept by a module that has ended";
    m_spare.Prepare(100);
    WaitUntilReady(m_spare, 100);
}

TEST_F(SharedMemory, ARegionOfPreparedMemoryIsLikeAnyOther) {
    ASSERT_EQ(m_regions.SetNodeNum("3", 1), kOk);
    const Region first = Allocate(m_regions, 1000);
    if (platform::SharedMapping::kCanNameLater) {
        WaitUntilReady(m_spare, 128 + 1100);
    }
    const Region second = Allocate(m_regions, 1000);
    ASSERT_EQ(second.status, kOk);
    EXPECT_THAT(std::string(second.name), EndsWith("}-1}"));
    second.data[999] = 0x5A;
    EXPECT_EQ(HostView(second.name, 128 + 1000)[14], 128);
    EXPECT_EQ(HostView(second.name, 128 + 1000).back(), 0x5A);
    EXPECT_EQ(HostView(first.name, 128 + 1000).back(), 0);
    EXPECT_EQ(m_regions.ReleaseSharedMemory(kModule, second.name), kOk);
    EXPECT_FALSE(Exists(second.name));
}

}  // namespace
}  // namespace cam
