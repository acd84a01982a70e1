// What the tests of this folder share.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace platform::test {

constexpr std::chrono::seconds kHang(60);  // longer than this nothing here takes unless it hangs

// False when the condition has not come true within kHang.
[[nodiscard]] bool WaitUntil(const std::function<bool()>& condition);

// A fresh folder that goes with everything in it.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& Path() const { return m_path; }
    [[nodiscard]] std::string Utf8() const;

  private:
    std::filesystem::path m_path;
};

[[nodiscard]] std::string ToUtf8Text(const std::filesystem::path& path);

// Letters and digits that no other test run uses.
[[nodiscard]] std::string UniqueWord();

// Runs the helper program (test_helper.cpp), which stands beside this one, to its end; its exit
// code.
int RunHelper(const std::vector<std::string>& arguments);

[[nodiscard]] std::string ReadFile(const std::filesystem::path& path);
void WriteFile(const std::filesystem::path& path, const std::string& bytes);

}  // namespace platform::test
