// The handles of the process by their value.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "standins/kz_camera_control/handle.h"

namespace kz {

// A handle's value is a number, never reused, looked up and never dereferenced: a stale or invented
// handle is always recognised.
class HandleTable {
  public:
    [[nodiscard]] KZHandle Add(std::shared_ptr<CameraHandle> handle);
    [[nodiscard]] std::shared_ptr<CameraHandle> Find(KZHandle value) const;
    void Remove(KZHandle value);
    [[nodiscard]] std::size_t Size() const;
    [[nodiscard]] std::vector<std::shared_ptr<CameraHandle>> All() const;

  private:
    mutable std::mutex m_mutex;  // guards the members below
    std::uintptr_t m_last = 0;
    std::map<std::uintptr_t, std::shared_ptr<CameraHandle>> m_handles;
};

}  // namespace kz
