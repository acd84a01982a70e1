// What only Linux shows as files: shared memory, the mutex, and names of any bytes.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "platform/file_system.h"
#include "platform/named_mutex.h"
#include "platform/shared_mapping.h"
#include "platform/system.h"
#include "tests/platform/support.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

const fs::path kObjects = "/dev/shm";
const fs::path kDescriptors = "/proc/self/fd";

bool ObjectExists(const std::string& name) {
    return fs::exists(fs::symlink_status(kObjects / name));
}

std::ptrdiff_t EntriesOf(const fs::path& folder, const std::string& part = "") {
    return std::count_if(fs::directory_iterator(folder), fs::directory_iterator(),
                         [&part](const fs::directory_entry& entry) {
                             return entry.path().filename().string().find(part) != part.npos;
                         });
}

// How processes tell others that they have objects.
std::string LifeSignOf(const std::string& pid) {
    return "shared_memory_owner." + pid;
}

// Of this process alone: others run beside it.
std::string OwnLifeSign() {
    return LifeSignOf(std::to_string(CurrentProcessId()) + "{");
}

// Something under an object's name, gone at the end.
class Planted {
  public:
    explicit Planted(const std::string& name) : m_path(kObjects / name) {}
    ~Planted() {
        std::error_code ignored;
        fs::remove(m_path, ignored);
    }
    Planted(const Planted&) = delete;
    Planted& operator=(const Planted&) = delete;

    [[nodiscard]] const fs::path& Path() const { return m_path; }

  private:
    fs::path m_path;
};

class LeftOverObject : public Planted {
  public:
    explicit LeftOverObject(const std::string& name) : Planted(name) {
        close(open(Path().c_str(), O_RDWR | O_CREAT | O_EXCL, 0600));
    }
};

std::optional<std::uint32_t> OwnerOf(std::string_view name) {
    constexpr std::string_view kLeft = "left.";
    return name.starts_with(kLeft)
               ? std::optional<std::uint32_t>(std::stoul(std::string(name.substr(kLeft.size()))))
               : std::nullopt;
}

std::string MakeDeadProcessWithAnObject() {
    const test::TemporaryFolder folder;
    const auto note = folder.Path() / "pid";
    EXPECT_EQ(test::RunHelper({"leave-object", note.string()}), 0);
    return test::ReadFile(note);
}

TEST(SharedMappingOnLinux, IsPrivateToItsUserAndLeavesNothingBehind) {
    const std::string name = "Test_" + test::UniqueWord();
    {
        SharedMapping mapping;
        ASSERT_EQ(mapping.Create(name.c_str(), 5000), 0);
        struct stat status {};
        ASSERT_EQ(stat((kObjects / name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600U);
        EXPECT_EQ(status.st_size, 5000);
        EXPECT_GE(status.st_blocks * 512, 5000) << "the memory is not taken yet";
    }
    EXPECT_FALSE(ObjectExists(name));
}

TEST(SharedMappingOnLinux, CanBeFilledBeforeItHasAName) {
    const std::string name = "Test_" + test::UniqueWord();
    const Planted folder(name + "_taken");
    fs::create_directory(folder.Path());
    const std::ptrdiff_t descriptors = EntriesOf(kDescriptors);
    {
        SharedMapping mapping;
        ASSERT_EQ(mapping.CreateUnnamed(5000), 0);
        EXPECT_EQ(mapping.GiveName(name.c_str()), EINVAL) << "it is not mapped yet";
        ASSERT_EQ(mapping.Map(), 0);
        mapping.View()[4999] = std::byte('x');
        EXPECT_EQ(mapping.GiveName((name + "_taken").c_str()), SharedMapping::kNameInUse);
        EXPECT_EQ(EntriesOf(kObjects, OwnLifeSign()), 0);

        const LeftOverObject old(name);
        ASSERT_EQ(mapping.GiveName(name.c_str()), 0);
        EXPECT_EQ(mapping.GiveName(name.c_str()), EINVAL) << "it has a name already";
        EXPECT_EQ(EntriesOf(kObjects, OwnLifeSign()), 1);
        const SharedMapping moved(std::move(mapping));
        struct stat status {};
        ASSERT_EQ(stat((kObjects / name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600U);
        SharedMapping reader;
        ASSERT_EQ(reader.Open(name.c_str()), 0);
        ASSERT_EQ(reader.Map(), 0);
        EXPECT_EQ(reader.View()[4999], std::byte('x'));
        EXPECT_EQ(EntriesOf(kDescriptors), descriptors + 1) << "only that of the life sign";
    }
    EXPECT_FALSE(ObjectExists(name));
    EXPECT_EQ(EntriesOf(kObjects, OwnLifeSign()), 0);
}

TEST(SharedMappingOnLinux, ReplacesWhatWasLeftBehind) {
    const std::string name = "Test_" + test::UniqueWord();
    const LeftOverObject old(name);
    SharedMapping before;
    ASSERT_EQ(before.Open(name.c_str()), 0);
    SharedMapping mapping;
    ASSERT_EQ(mapping.Create(name.c_str(), 5000), 0);
    EXPECT_EQ(mapping.Map(), 0);
    EXPECT_EQ(before.Size(), 0U) << "the old object itself was taken over";
}

TEST(SharedMappingOnLinux, TakesOneDescriptorAndOneLifeSignForAllObjects) {
    const std::string sign = OwnLifeSign();
    const std::ptrdiff_t before = EntriesOf(kDescriptors);
    const std::string word = "Test_" + test::UniqueWord();
    std::deque<SharedMapping> mappings;
    std::deque<SharedMapping> readers;
    for (int i = 0; i < 50; ++i) {
        const std::string name = word + std::to_string(i);
        ASSERT_EQ(mappings.emplace_back().Create(name.c_str(), 100), 0);
        ASSERT_EQ(mappings.back().Map(), 0);
        ASSERT_EQ(readers.emplace_back().Open(name.c_str()), 0);
        ASSERT_EQ(readers.back().Map(), 0);
    }
    EXPECT_EQ(EntriesOf(kDescriptors), before + 1);
    EXPECT_EQ(EntriesOf(kObjects, sign), 1);
    EXPECT_EQ(EntriesOf(kObjects, word), 50);
    mappings.resize(1);
    EXPECT_EQ(EntriesOf(kObjects, sign), 1);
    EXPECT_EQ(mappings.front().Close(), 0);
    EXPECT_NE(mappings.front().Create(std::string(1000, 'x').c_str(), 100), 0);
    EXPECT_NE(mappings.front().Create(word.c_str(), std::uint64_t{1} << 60), 0);
    EXPECT_EQ(EntriesOf(kObjects, sign), 0);
    EXPECT_EQ(EntriesOf(kDescriptors), before);
}

TEST(SharedMappingOnLinux, ObjectsOfDeadProcessesAreRemoved) {
    const std::string dead = MakeDeadProcessWithAnObject();
    ASSERT_TRUE(ObjectExists("left." + dead));
    ASSERT_EQ(EntriesOf(kObjects, LifeSignOf(dead)), 1);
    const LeftOverObject ofAlive("left." + std::to_string(CurrentProcessId()));
    const LeftOverObject stranger("stranger." + dead);

    RemoveObjectsOfDeadProcesses(&OwnerOf);

    EXPECT_FALSE(ObjectExists("left." + dead));
    EXPECT_EQ(EntriesOf(kObjects, LifeSignOf(dead)), 0);
    EXPECT_TRUE(fs::exists(ofAlive.Path()));
    EXPECT_TRUE(fs::exists(stranger.Path()));
}

// The id of a process of another container means nothing here.
TEST(SharedMappingOnLinux, ObjectsOfAProcessThatCannotBeSeenStayWhileItLives) {
    const std::string dead = MakeDeadProcessWithAnObject();
    {
        const NamedMutexHold elsewhere(LifeSignOf(dead) + "elsewhere");
        ASSERT_TRUE(elsewhere.Owned());
        RemoveObjectsOfDeadProcesses(&OwnerOf);
        EXPECT_TRUE(ObjectExists("left." + dead));
    }
    RemoveObjectsOfDeadProcesses(&OwnerOf);
    EXPECT_FALSE(ObjectExists("left." + dead));
}

TEST(NamedMutexOnLinux, IsPrivateToItsUserAndLeavesNothingBehind) {
    const std::string name = "Test_" + test::UniqueWord();
    {
        const NamedMutexHold hold(name);
        ASSERT_TRUE(hold.Owned());
        EXPECT_EQ(hold.Error(), 0);
        struct stat status {};
        ASSERT_EQ(stat((kObjects / name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600U) << "who can open it can keep it";
    }
    EXPECT_FALSE(ObjectExists(name));

    // What a holder that died has left, the next one clears away.
    const LeftOverObject left(name);
    { const NamedMutexHold hold(name); }
    EXPECT_FALSE(ObjectExists(name));
}

TEST(NamedMutexOnLinux, SaysWhyItIsNotOwned) {
    const NamedMutexHold hold(std::string(1000, 'x'));
    EXPECT_FALSE(hold.Owned());
    EXPECT_NE(hold.Error(), 0);
}

// Every user may put anything under any name. None of it is waited for, followed, used or removed.
TEST(NamesOnLinux, AreNeverUsedWhereTheyAreNotAFileOfOnesOwn) {
    const std::ptrdiff_t descriptors = EntriesOf(kDescriptors);
    const std::string dead = MakeDeadProcessWithAnObject();
    RemoveObjectsOfDeadProcesses(&OwnerOf);
    const test::TemporaryFolder folder;
    const fs::path target = folder.Path() / "target";
    test::WriteFile(target, "target");

    const std::pair<const char*, std::function<bool(const fs::path&)>> traps[] = {
        {"FIFO", [](const fs::path& path) { return mkfifo(path.c_str(), 0666) == 0; }},
        {"link", [&](const fs::path& path) { return symlink(target.c_str(), path.c_str()) == 0; }},
        {"link to nothing",
         [](const fs::path& path) { return symlink("/nowhere", path.c_str()) == 0; }},
        {"folder", [](const fs::path& path) { return fs::create_directory(path); }},
        {"another user's file",
         [](const fs::path& path) {
             constexpr uid_t kNobody = 65534;
             test::WriteFile(path, "");
             return chmod(path.c_str(), 0666) == 0 && chown(path.c_str(), kNobody, kNobody) == 0;
         }},
    };
    for (const auto& [kind, plant] : traps) {
        SCOPED_TRACE(kind);
        const std::string name = "left." + dead;
        const Planted object(name);
        const Planted sign(LifeSignOf(dead));
        if (!plant(object.Path()) || !plant(sign.Path())) {
            EXPECT_NE(geteuid(), 0U);
            continue;  // only root gives a file away
        }
        const NamedMutexHold hold(name);
        EXPECT_FALSE(hold.Owned());
        EXPECT_NE(hold.Error(), 0);
        SharedMapping mapping;
        EXPECT_NE(mapping.Open(name.c_str()), 0);
        EXPECT_EQ(mapping.Create(name.c_str(), 100), SharedMapping::kNameInUse);
        RemoveObjectsOfDeadProcesses(&OwnerOf);
        EXPECT_TRUE(ObjectExists(name));
        EXPECT_TRUE(ObjectExists(LifeSignOf(dead)));
    }
    EXPECT_EQ(test::ReadFile(target), "target");
    EXPECT_EQ(EntriesOf(kDescriptors), descriptors);
    EXPECT_EQ(EntriesOf(kObjects, OwnLifeSign()), 0) << "held without an object";
}

TEST(FileSystemOnLinux, TakesNamesInTheCodePage) {
    const test::TemporaryFolder folder;
    test::WriteFile(folder.Path() / "gr\xFCn", "x");
    EXPECT_EQ(ListFolder(folder.Utf8()), (std::vector<std::string>{"gr\xC3\xBCn"}));
}

}  // namespace
}  // namespace platform
