// The keys that the host reads and writes.
#pragma once

#include <string_view>

#include "module/framework/status_codes.h"
#include "params/key_context.h"
#include "params/key_values.h"

namespace cam {

// The module's own keys, from the table; every other key names a feature of the open camera. May
// throw std::bad_alloc.
class Keys {
  public:
    explicit Keys(const KeyContext& module) : m_module(module) {}

    [[nodiscard]] Status Get(std::string_view key, Answer& answer);
    [[nodiscard]] Status Set(std::string_view key, const Value& value);

  private:
    KeyContext m_module;
};

}  // namespace cam
