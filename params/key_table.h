// How a parameter table finds its row.
#pragma once

#include <iterator>
#include <string_view>
#include <vector>

namespace cam {

enum class KeyMatch { Exact, Contained };

struct TableKey {
    std::string_view key;
    KeyMatch match;
};

// The keys the module answers and takes itself, in the order they are tried.
[[nodiscard]] std::vector<TableKey> CatalogueKeys();
[[nodiscard]] std::vector<TableKey> CommandKeys();

[[nodiscard]] constexpr bool Matches(std::string_view rowKey, KeyMatch match,
                                     std::string_view key) {
    return match == KeyMatch::Exact ? key == rowKey : key.find(rowKey) != key.npos;
}

// The first row for the key; null when none has it.
template <typename Row, std::size_t Count>
[[nodiscard]] constexpr const Row* FindRow(const Row (&rows)[Count], std::string_view key) {
    for (const Row& row : rows) {
        if (Matches(row.key, row.match, key)) {
            return &row;
        }
    }
    return nullptr;
}

template <typename Row, std::size_t Count>
[[nodiscard]] std::vector<TableKey> KeysOf(const Row (&rows)[Count]) {
    std::vector<TableKey> keys;
    for (const Row& row : rows) {
        keys.push_back({row.key, row.match});
    }
    return keys;
}

}  // namespace cam
