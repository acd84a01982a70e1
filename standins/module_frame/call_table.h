// Counts calls of each framework function and makes chosen calls fail. Counting, done for every
// frame, takes no lock and allocates nothing.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>

namespace module_frame {

inline constexpr std::array<std::string_view, 13> kFunctions{
    "CQ_M_GetModuleId",
    "CQ_M_GetCreateModuleCause",
    "CQ_M_GetDefaultConfigByFile",
    "CQ_M_GetCurrentConfigByFile",
    "CQ_M_SetLastError",
    "CQ_M_NotifyIncGlobalCameraNum",
    "CQ_M_NotifyDecGlobalCameraNum",
    "CQ_M_SetNotifyEventCallback",
    "CQ_M_GetModuleNodeInfo",
    "CQ_M_GetBufferNodeNum",
    "CQ_M_ReportData",
    "CQ_M_TryRunProcedureOnceById",
    "CQ_M_SetBinayData",
};

// The number of functions if the name is unknown.
[[nodiscard]] constexpr std::size_t IndexOf(std::string_view name) {
    return static_cast<std::size_t>(std::find(kFunctions.begin(), kFunctions.end(), name) -
                                    kFunctions.begin());
}

// A function by its name, looked up at compile time.
struct Function {
    consteval Function(const char* name) : index(IndexOf(name)) {
        if (index == kFunctions.size()) {
            throw "no framework function";
        }
    }
    std::size_t index;
};

class CallTable {
  public:
    // Counts a call; returns the status that it must fail with, if any.
    [[nodiscard]] std::optional<std::uint32_t> Enter(Function function) {
        Row& row = m_rows[function.index];
        row.calls.fetch_add(1, std::memory_order_relaxed);
        if (row.toFail.load(std::memory_order_relaxed) == 0) {
            return std::nullopt;
        }
        const std::lock_guard lock(m_mutex);
        if (row.toFail == 0) {
            return std::nullopt;
        }
        --row.toFail;
        return row.status;
    }

    // An unknown name has no calls and no faults.
    [[nodiscard]] std::uint64_t Calls(std::string_view name) const {
        const std::size_t index = IndexOf(name);
        return index < m_rows.size() ? m_rows[index].calls.load(std::memory_order_relaxed) : 0;
    }

    void FailNext(std::string_view name, std::uint32_t status, std::int32_t count) {
        const std::lock_guard lock(m_mutex);
        if (const std::size_t index = IndexOf(name); index < m_rows.size()) {
            m_rows[index].status = status;
            m_rows[index].toFail = std::max(count, 0);
        }
    }

  private:
    struct Row {
        std::atomic<std::uint64_t> calls{0};
        std::atomic<std::int32_t> toFail{0};  // changed under m_mutex
        std::uint32_t status = 0;             // under m_mutex
    };

    std::mutex m_mutex;
    std::array<Row, kFunctions.size()> m_rows;
};

}  // namespace module_frame
