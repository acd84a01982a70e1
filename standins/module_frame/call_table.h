// How often each framework function was called, and which calls are to fail. A table of fixed names
// and atomics: counting a call made for every frame costs no lock and no memory.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace module_frame {

enum class Function : std::size_t {
    GetModuleId,
    GetCreateModuleCause,
    GetDefaultConfigByFile,
    GetCurrentConfigByFile,
    SetLastError,
    NotifyIncGlobalCameraNum,
    NotifyDecGlobalCameraNum,
    SetNotifyEventCallback,
    GetModuleNodeInfo,
    GetBufferNodeNum,
    ReportData,
    TryRunProcedureOnceById,
    SetBinayData,
};

// In the order of Function.
inline constexpr std::array<std::string_view, 13> kFunctionNames{
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

class CallTable {
  public:
    // Counts a call; the status it is to fail with, if it is.
    [[nodiscard]] std::optional<std::uint32_t> Enter(Function function) noexcept {
        Row& row = m_rows[static_cast<std::size_t>(function)];
        row.calls.fetch_add(1, std::memory_order_relaxed);
        std::uint64_t fault = row.fault.load(std::memory_order_relaxed);
        while (Remaining(fault) > 0) {
            if (row.fault.compare_exchange_weak(fault, fault - kOneCall,
                                                std::memory_order_relaxed)) {
                return static_cast<std::uint32_t>(fault);
            }
        }
        return std::nullopt;
    }

    // An unknown name has no calls and no faults.
    [[nodiscard]] std::uint64_t Calls(std::string_view name) const noexcept {
        const std::size_t index = IndexOf(name);
        return index < m_rows.size() ? m_rows[index].calls.load(std::memory_order_relaxed) : 0;
    }

    void FailNext(std::string_view name, std::uint32_t status, std::int32_t count) noexcept {
        if (const std::size_t index = IndexOf(name); index < m_rows.size()) {
            const std::uint64_t calls = count > 0 ? static_cast<std::uint64_t>(count) : 0;
            m_rows[index].fault.store(calls * kOneCall | status, std::memory_order_relaxed);
        }
    }

  private:
    // The status below, the calls left to fail above: both change in one step.
    static constexpr std::uint64_t kOneCall = std::uint64_t{1} << 32;
    static constexpr std::uint64_t Remaining(std::uint64_t fault) { return fault / kOneCall; }

    struct Row {
        std::atomic<std::uint64_t> calls{0};
        std::atomic<std::uint64_t> fault{0};
    };

    static std::size_t IndexOf(std::string_view name) noexcept {
        const auto found = std::find(kFunctionNames.begin(), kFunctionNames.end(), name);
        return static_cast<std::size_t>(found - kFunctionNames.begin());
    }

    std::array<Row, kFunctionNames.size()> m_rows;
};

}  // namespace module_frame
