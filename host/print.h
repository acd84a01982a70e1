// Results on standard output.
#pragma once

#include <string>

#include "host/table.h"
#include "host/value_info.h"

namespace host {

void Print(const std::string& text);
// As the terminal takes it, or for a program.
void Print(const Table& table);
// Readable.
void PrintJson(const Json& json);
// On one line.
void PrintJsonLine(const Json& json);
// On standard error, under the program's name.
void PrintMessage(const std::string& text);

}  // namespace host
