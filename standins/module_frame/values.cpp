#include "standins/module_frame/values.h"

#include <algorithm>
#include <cstring>

namespace module_frame {
namespace {

char LowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char a, char b) { return LowerAscii(a) == LowerAscii(b); });
}

auto Find(const Values& values, std::string_view name) {
    return std::find_if(values.begin(), values.end(),
                        [&](const NamedValue& each) { return each.name == name; });
}

}  // namespace

std::string_view FieldText(const char* field, std::size_t size) {
    const void* const end = std::memchr(field, '\0', size);
    return {field, end == nullptr
                       ? size
                       : static_cast<std::size_t>(static_cast<const char*>(end) - field)};
}

void FillField(char* field, std::size_t size, std::string_view text) {
    const std::size_t copied = std::min(text.size(), size - 1);
    std::memcpy(field, text.data(), copied);
    std::memset(field + copied, 0, size - copied);
}

void FillList(const Values& values, ModuleParamList& list) {
    const std::size_t count = std::min<std::size_t>(values.size(), kFrameworkMaxEntries);
    for (std::size_t i = 0; i < count; ++i) {
        ModuleParamEntry& entry = list.entries[i];
        FillField(entry.name, sizeof(entry.name), values[i].name);
        FillField(entry.value, sizeof(entry.value), values[i].value);
        std::memset(entry.frameworkData, 0, sizeof(entry.frameworkData));
    }
    list.nNum = static_cast<std::int32_t>(count);
}

bool FitsName(std::string_view name) {
    return name.size() < kFrameworkNameSize;
}
bool FitsValue(std::string_view value) {
    return value.size() < kFrameworkValueSize;
}

bool IsRelation(std::string_view name) {
    return EqualIgnoringCase(name, "AddRelateProc") || EqualIgnoringCase(name, "DelRelateProc");
}

bool ValueHistory::HasRoomFor(std::string_view name) const {
    return m_values.size() < kFrameworkMaxEntries || Find(m_values, name) != m_values.end();
}

void ValueHistory::Remember(std::string_view name, std::string_view value) {
    if (name.empty() || IsRelation(name) || !HasRoomFor(name)) {
        return;
    }
    NamedValue latest{std::string(name), std::string(value)};
    m_values.reserve(m_values.size() + 1);  // no value is lost when out of memory
    if (const auto old = Find(m_values, name); old != m_values.end()) {
        m_values.erase(old);
    }
    m_values.push_back(std::move(latest));
}

void ValueHistory::ReplaceAll(const Values& values) {
    ValueHistory fresh;
    for (const NamedValue& each : values) {
        fresh.Remember(each.name, each.value);
    }
    m_values.swap(fresh.m_values);
}

}  // namespace module_frame
