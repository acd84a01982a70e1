// The pages that are made from the description of the command line.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace host {

// Of the whole program, or of one command.
[[nodiscard]] std::string HelpText(const CLI::App& program, const CLI::App* command,
                                   std::size_t width);

// A completion script for bash.
[[nodiscard]] std::string BashCompletion(const CLI::App& program);

// A page for man(1).
[[nodiscard]] std::string ManPage(const CLI::App& program);

}  // namespace host
