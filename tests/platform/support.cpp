#include "tests/platform/support.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <thread>

#include "platform/system.h"

namespace platform::test {

bool WaitUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kHang;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

TemporaryFolder::TemporaryFolder()
    : m_path(std::filesystem::temp_directory_path() / ("platform" + UniqueWord())) {
    std::filesystem::create_directories(m_path);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TemporaryFolder::Utf8() const {
    return ToUtf8Text(m_path);
}

std::string ToUtf8Text(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

std::string UniqueWord() {
    std::string word = NewGuidText();
    word.erase(
        std::remove_if(word.begin(), word.end(), [](unsigned char c) { return !std::isalnum(c); }),
        word.end());
    return word;
}

int RunHelper(const std::vector<std::string>& arguments) {
    static const int here = 0;
    const std::string program = ModuleFilePath(&here);
    const std::filesystem::path file(std::u8string(program.begin(), program.end()));
    std::string command =
        (file.parent_path() / "platform_test_helper").replace_extension(file.extension()).string();
    for (const std::string& argument : arguments) {
        command += " \"" + argument + "\"";
    }
    return std::system(command.c_str());
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace platform::test
