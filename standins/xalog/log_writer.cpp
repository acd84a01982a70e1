#include "standins/xalog/log_writer.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace xalog {
namespace {

char* PutDigits(char* to, unsigned value, int digits) {
    for (char* place = to + digits; place != to; value /= 10) {
        *--place = static_cast<char>('0' + value % 10);
    }
    return to + digits;
}

char LevelLetter(std::int32_t level) {
    return "DIWE"[std::clamp(level, 1, 4) - 1];
}

// Universal time: lines of several machines compare, and none is repeated when the clocks change.
void PutStamp(char* to, std::int32_t level) {
    using namespace std::chrono;
    const auto now = floor<milliseconds>(system_clock::now());
    const auto today = floor<days>(now);
    const year_month_day date(today);
    const hh_mm_ss time(now - today);

    to = PutDigits(to, static_cast<unsigned>(static_cast<int>(date.year())), 4);
    *to++ = '-';
    to = PutDigits(to, static_cast<unsigned>(date.month()), 2);
    *to++ = '-';
    to = PutDigits(to, static_cast<unsigned>(date.day()), 2);
    *to++ = ' ';
    to = PutDigits(to, static_cast<unsigned>(time.hours().count()), 2);
    *to++ = ':';
    to = PutDigits(to, static_cast<unsigned>(time.minutes().count()), 2);
    *to++ = ':';
    to = PutDigits(to, static_cast<unsigned>(time.seconds().count()), 2);
    *to++ = '.';
    to = PutDigits(to, static_cast<unsigned>(time.subseconds().count()), 3);
    *to++ = ' ';
    *to++ = '[';
    *to++ = LevelLetter(level);
    *to++ = ']';
    *to++ = ' ';
}

}  // namespace

std::size_t MakeOneLine(char* message, std::size_t size) {
    while (size > 0 && (message[size - 1] == '\n' || message[size - 1] == '\r')) {
        --size;
    }
    std::replace_if(
        message, message + size,
        [](char c) {
            const auto code = static_cast<unsigned char>(c);
            return (code < 0x20 && c != '\t') || code == 0x7F;
        },
        ' ');
    return size;
}

LogWriter::LogWriter() {
    const char* const path = std::getenv("XALOG_FILE");
    if (path != nullptr && *path != '\0' && SetFile(path)) {
        m_standardError = false;
    }
    if (const char* const enabled = std::getenv("XALOG_STDERR"); enabled != nullptr) {
        m_standardError = std::strcmp(enabled, "0") != 0;
    }
}

void LogWriter::Write(std::int32_t level, char* line, std::size_t messageSize) {
    const std::size_t size = kStampSize + messageSize;
    {
        // The stamp is taken inside, so that times never run backwards down the file.
        const std::lock_guard lock(m_mutex);
        PutStamp(line, level);
        line[size] = '\n';
        if (m_file.is_open()) {
            m_file.clear();  // a disk that was full may have room again
            m_file.write(line, static_cast<std::streamsize>(size + 1));
            m_file.flush();
        }
        if (m_standardError) {
            std::fwrite(line, 1, size + 1, stderr);
        }
    }
    line[size] = '\0';
    m_sink.Run([&](const Sink& sink) {
        if (sink.function != nullptr) {
            sink.function(level, line + kStampSize, sink.user);
        }
    });
}

bool LogWriter::SetFile(const char* path) {
    std::ofstream file;
    if (path != nullptr && *path != '\0') {
        const std::filesystem::path utf8Path(reinterpret_cast<const char8_t*>(path));
        file.open(utf8Path, std::ios::binary | std::ios::app);
        if (!file) {
            return false;
        }
    }
    const std::lock_guard lock(m_mutex);
    m_file.swap(file);
    return true;
}

void LogWriter::SetStandardError(bool enabled) {
    const std::lock_guard lock(m_mutex);
    m_standardError = enabled;
}

void LogWriter::SetSink(XalogSink sink, void* user) {
    m_sink.Replace({sink, user});
}

void LogWriter::Flush() {
    const std::lock_guard lock(m_mutex);
    if (m_file.is_open()) {
        m_file.flush();
    }
    std::fflush(stderr);
}

}  // namespace xalog
