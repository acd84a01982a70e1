// How the program ends, and the one exception that carries the end out of a command.
#pragma once

#include <stdexcept>
#include <string>

namespace host {

enum class ExitCode : int {
    Ok = 0,
    Failure = 1,
    Usage = 2,
    NoCamera = 3,
    NoFrame = 4,
    Interrupted = 130,  // what a shell reports of a program that Ctrl-C ended
};

class Failure : public std::runtime_error {
  public:
    Failure(ExitCode code, const std::string& message)
        : std::runtime_error(message), m_code(code) {}
    explicit Failure(const std::string& message) : Failure(ExitCode::Failure, message) {}

    [[nodiscard]] ExitCode Code() const noexcept { return m_code; }

  private:
    ExitCode m_code;
};

}  // namespace host
