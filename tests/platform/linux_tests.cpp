// What shared memory and the mutex leave on the machine, which only Linux shows as files.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/named_mutex.h"
#include "platform/shared_mapping.h"
#include "platform/system.h"
#include "tests/platform/support.h"

namespace platform {
namespace {

bool ObjectExists(const std::string& name) {
    return std::filesystem::exists("/dev/shm/" + name);
}

class LeftOverObject {
  public:
    explicit LeftOverObject(std::string name) : m_path("/" + std::move(name)) {
        close(shm_open(m_path.c_str(), O_RDWR | O_CREAT, 0600));
    }
    ~LeftOverObject() { shm_unlink(m_path.c_str()); }
    LeftOverObject(const LeftOverObject&) = delete;
    LeftOverObject& operator=(const LeftOverObject&) = delete;

  private:
    std::string m_path;
};

std::string RegionName(const std::string& pid) {
    return "{3-0-" + pid + "-" + NewGuidText() + "-0}";
}

TEST(SharedMappingOnLinux, IsPrivateToItsUserAndLeavesNothingBehind) {
    const std::string name = RegionName(std::to_string(CurrentProcessId()));
    {
        SharedMapping mapping;
        ASSERT_EQ(mapping.Create(name.c_str(), 5000), 0);
        struct stat status {};
        ASSERT_EQ(stat(("/dev/shm/" + name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600U);
        EXPECT_EQ(status.st_size, 5000);
        EXPECT_GE(status.st_blocks * 512, 5000) << "the memory is not taken yet";
    }
    EXPECT_FALSE(ObjectExists(name));
}

TEST(SharedMappingOnLinux, ReplacesWhatWasLeftBehind) {
    const std::string name = RegionName(std::to_string(CurrentProcessId()));
    const LeftOverObject old(name);
    SharedMapping before;
    ASSERT_EQ(before.Open(name.c_str()), 0);
    SharedMapping mapping;
    ASSERT_EQ(mapping.Create(name.c_str(), 5000), 0);
    EXPECT_EQ(mapping.Map(), 0);
    EXPECT_EQ(before.Size(), 0U) << "the old object itself was taken over";
}

TEST(SharedMappingOnLinux, SweepRemovesTheRegionsOfDeadProcessesOnly) {
    const test::TemporaryFolder folder;
    const auto note = folder.Path() / "name";
    ASSERT_EQ(test::RunHelper({"leave-region", note.string()}), 0);
    const std::string left = test::ReadFile(note);
    ASSERT_TRUE(ObjectExists(left));
    const std::string deadPid = left.substr(5, left.find('-', 5) - 5);

    std::string lowerCase = RegionName(deadPid);
    lowerCase[lowerCase.find('{', 1) + 1] = 'a';
    const std::string strangers[] = {lowerCase,
                                     RegionName(deadPid) + "x",
                                     "x" + RegionName(deadPid),
                                     RegionName(deadPid).substr(0, 45),
                                     RegionName("-" + deadPid),
                                     RegionName("0"),
                                     "{3-0-" + deadPid + "-{}-0}",
                                     "{3-" + deadPid + "-" + NewGuidText() + "-0}"};
    std::vector<std::unique_ptr<LeftOverObject>> objects;
    for (const std::string& name : strangers) {
        objects.push_back(std::make_unique<LeftOverObject>(name));
    }
    SharedMapping mine;
    const std::string mineName = RegionName(std::to_string(CurrentProcessId()));
    ASSERT_EQ(mine.Create(mineName.c_str(), 100), 0);
    // A live process of another container looks like this one: its id means nothing here.
    SharedMapping elsewhere;
    const std::string elsewhereName = RegionName(deadPid);
    ASSERT_EQ(elsewhere.Create(elsewhereName.c_str(), 100), 0);

    SweepRegionsOfDeadProcesses();

    EXPECT_FALSE(ObjectExists(left));
    EXPECT_TRUE(ObjectExists(mineName));
    EXPECT_TRUE(ObjectExists(elsewhereName));
    for (const std::string& name : strangers) {
        EXPECT_TRUE(ObjectExists(name)) << name;
    }
}

TEST(NamedMutexOnLinux, IsOpenToEveryUserAndLeavesNothingBehind) {
    const std::string name = "Test_" + test::UniqueWord();
    const mode_t before = umask(0077);
    {
        const NamedMutexHold hold(name);
        ASSERT_TRUE(hold.Owned());
        struct stat status {};
        ASSERT_EQ(stat(("/dev/shm/" + name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0666U);
    }
    umask(before);
    EXPECT_FALSE(ObjectExists(name));

    // What a holder that died has left, the next one clears away.
    const LeftOverObject left(name);
    { const NamedMutexHold hold(name); }
    EXPECT_FALSE(ObjectExists(name));
}

TEST(NamedMutexOnLinux, GoesOnUnserialisedWhereTheSystemRefusesIt) {
    const NamedMutexHold hold(std::string(1000, 'x'));
    EXPECT_FALSE(hold.Owned());
}

}  // namespace
}  // namespace platform
