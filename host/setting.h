// Writing values so that people can rely on them.
#pragma once

#include <string>
#include <vector>

#include "host/module_session.h"

namespace host {

// Writes a value of the module or of the open camera and makes sure that it took effect. An entry
// of an enumeration goes by its name or its number. Gives what reads back, for people; empty for
// what is only written. Throws host::Failure, also where another value reads back or there is no
// such key or feature.
std::string WriteSetting(ModuleSession& session, const std::string& key, const std::string& value);

// What is wrong with a name that neither the module nor the open camera knows.
[[nodiscard]] std::string UnknownNameText(ModuleSession& session, const std::string& name);

}  // namespace host
