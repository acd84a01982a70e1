// Where the system looks for the libraries that the module needs. The program is linked to none of
// them, as they would be found loaded already.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "platform/library.h"
#include "platform/system.h"
#include "tests/platform/support.h"

namespace platform::test {
namespace {

namespace fs = std::filesystem;

const std::string kModule = LibraryFileName("CameraModule");

class LibrarySearch : public testing::Test {
  protected:
    void SetUp() override {
        fs::create_directories(m_current);
        fs::current_path(m_current);
    }
    void TearDown() override { fs::current_path(m_before); }

    static void CopyModule(const fs::path& to) {
        fs::create_directories(to);
        fs::copy_file(fs::path(LIBRARIES) / kModule, to / kModule);
    }
    static void CopyNeighbours(const fs::path& to) {
        for (const char* name : {"ModuleFrame", "Xalog", "KZCameraControl"}) {
            fs::copy_file(fs::path(LIBRARIES) / LibraryFileName(name), to / LibraryFileName(name));
        }
    }

    const TemporaryFolder m_folder;
    const fs::path m_current = m_folder.Path() / "current";
    const fs::path m_before = fs::current_path();
    DynamicLibrary m_library;
    std::string m_error;
};

TEST_F(LibrarySearch, DoesNotTakeNeighboursFromTheCurrentFolder) {
    const fs::path alone = m_folder.Path() / "alone";
    CopyModule(alone);
    CopyNeighbours(m_current);
    EXPECT_FALSE(m_library.Load(ToUtf8Text(alone / kModule), m_error));
    EXPECT_NE(m_error, "");
}

TEST_F(LibrarySearch, FindsNeighboursBesideTheModule) {
    const fs::path beside = m_folder.Path() / "beside";
    CopyModule(beside);
    CopyNeighbours(beside);
    for (const char* name : {"ModuleFrame", "Xalog", "KZCameraControl"}) {
        WriteFile(m_current / LibraryFileName(name), "no library");
    }
    EXPECT_TRUE(m_library.Load(ToUtf8Text(beside / kModule), m_error)) << m_error;
}

TEST_F(LibrarySearch, CutsAModulePathAfter259CharactersOnWindows) {
    if (kPathSeparator == '/') {
        GTEST_SKIP() << "of Windows alone";
    }
    fs::path deep = m_folder.Path();
    while (deep.native().size() <= 260) {
        deep /= std::string(40, 'd');
    }
    CopyModule(deep);
    CopyNeighbours(deep);
    const std::string path = ToUtf8Text((deep / kModule).make_preferred());
    ASSERT_TRUE(m_library.Load(path, m_error)) << m_error;
    auto* const create = m_library.Find<void()>("CreateModule");
    EXPECT_EQ(ModuleFilePath(reinterpret_cast<const void*>(create)), path.substr(0, 259));
}

}  // namespace
}  // namespace platform::test
