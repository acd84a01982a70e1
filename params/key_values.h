// The host's buffers that a key is read into and written from.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "base/text.h"
#include "module/framework/module_frame.h"

namespace cam {

// The host's buffer for one value.
class Answer {
  public:
    Answer(char* buffer, std::int32_t size, std::uint32_t* length)
        : m_buffer(buffer), m_size(std::max(size, 0)), m_length(length) {}

    // Cut to the buffer and to `most` bytes, NUL-terminated.
    void Text(std::string_view text, std::size_t most = SIZE_MAX) {
        const std::size_t room = std::min(Room(), most);
        if (room == 0) {
            return;
        }
        const std::size_t count = std::min(text.size(), room - 1);
        std::memcpy(m_buffer, text.data(), count);
        m_buffer[count] = '\0';
    }
    void Number(std::int32_t number) { Text(std::to_string(number)); }

    // Raw bytes without a terminator. False: they do not fit, and nothing is written.
    [[nodiscard]] bool Bytes(const void* bytes, std::size_t count) {
        if (count > Room()) {
            return false;
        }
        std::memcpy(m_buffer, bytes, count);
        return true;
    }

    void Length(std::uint32_t length) { *m_length = length; }

    [[nodiscard]] char* Buffer() { return m_buffer; }
    [[nodiscard]] std::int32_t Size() const { return m_size; }
    [[nodiscard]] std::size_t Room() const { return static_cast<std::size_t>(m_size); }
    [[nodiscard]] std::uint32_t* LengthOut() { return m_length; }

  private:
    char* m_buffer;
    std::int32_t m_size;
    std::uint32_t* m_length;
};

// A value as the host gave it. `size` bounds it, whether or not a NUL ends it; without a size the
// NUL ends it.
class Value {
  public:
    Value(const char* bytes, std::int32_t size) : m_bytes(bytes), m_size(size) {
        const std::size_t limit = size > 0 ? static_cast<std::size_t>(size) : kFrameworkValueSize;
        m_text = {bytes, static_cast<std::size_t>(std::find(bytes, bytes + limit, '\0') - bytes)};
    }

    [[nodiscard]] std::string_view Text() const { return m_text; }
    [[nodiscard]] bool Bool() const { return ParseBool(m_text); }
    [[nodiscard]] std::optional<std::int32_t> Int() const { return ParseInt(m_text); }

    // The bytes as a record, if they are exactly one.
    template <typename Record>
    [[nodiscard]] std::optional<Record> As() const {
        if (m_size != static_cast<std::int32_t>(sizeof(Record))) {
            return std::nullopt;
        }
        Record record;
        std::memcpy(&record, m_bytes, sizeof record);
        return record;
    }

  private:
    const char* m_bytes;
    std::int32_t m_size;
    std::string_view m_text;
};

}  // namespace cam
