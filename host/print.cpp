#include "host/print.h"

#include <nlohmann/json.hpp>

#include <cstdio>

#include "host/console.h"

namespace host {
namespace {

// Cameras tell texts in whatever encoding they like.
std::string Dump(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

void Print(const std::string& text) {
    std::fputs(text.c_str(), Output());
    std::fflush(Output());
}

void Print(const Table& table) {
    Print(table.Text(OutputWidth()));
}

void PrintJson(const Json& json) {
    Print(Dump(json, 2));
}

void PrintJsonLine(const Json& json) {
    Print(Dump(json, -1));
}

void PrintMessage(const std::string& text) {
    std::fprintf(stderr, "camera_host: %s\n", text.c_str());
}

}  // namespace host
