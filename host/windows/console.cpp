#include "host/console.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>
#include <stdio.h>

namespace host {
namespace {

std::string ToUtf8(const wchar_t* text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size < 1) {
        return {};
    }
    std::string utf8(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
    utf8.resize(static_cast<std::size_t>(size) - 1);
    return utf8;
}

// False where the file is no console, or one that does not know escape codes.
bool EnableEscapeCodes(std::FILE* file) {
    const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
    DWORD mode = 0;
    return GetConsoleMode(console, &mode) != 0 &&
           SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

std::FILE* output = stdout;
bool outputIsTerminal = false;
bool standardErrorIsTerminal = false;

// Without the means the module's prints stay where they are; the results come all the same.
void KeepOutputForResults() {
    const int copy = _dup(_fileno(stdout));
    std::FILE* own = copy < 0 ? nullptr : _fdopen(copy, "wb");
    const int nowhere = _open("NUL", _O_WRONLY);
    if (own != nullptr && nowhere >= 0 && _dup2(nowhere, _fileno(stdout)) >= 0) {
        output = own;
    }
    if (nowhere >= 0) {
        _close(nowhere);
    }
}

std::size_t WidthOf(std::FILE* file) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
    return GetConsoleScreenBufferInfo(console, &info) != 0
               ? static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left + 1)
               : kUsualWidth;
}

}  // namespace

// The arguments of main are in the system's code page, which loses most of Unicode.
std::vector<std::string> StartConsole(int, char**) {
    SetConsoleOutputCP(CP_UTF8);
    KeepOutputForResults();
    // The same bytes as everywhere for those who read them.
    _setmode(_fileno(output), _O_BINARY);
    _setmode(_fileno(stderr), _O_BINARY);
    outputIsTerminal = EnableEscapeCodes(output);
    standardErrorIsTerminal = EnableEscapeCodes(stderr);

    int count = 0;
    wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int i = 1; i < count; ++i) {
        arguments.push_back(ToUtf8(wide[i]));
    }
    LocalFree(static_cast<void*>(wide));
    return arguments;
}

std::FILE* Output() {
    return output;
}

std::size_t OutputWidth() {
    return outputIsTerminal ? WidthOf(output) : 0;
}

std::size_t StandardErrorWidth() {
    return standardErrorIsTerminal ? WidthOf(stderr) : 0;
}

}  // namespace host
