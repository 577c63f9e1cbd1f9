// Checks of single arguments, before anything is sent.
//
// Ownership: plain values. Threads: no state.
// Errors: every check returns what was expected, or an empty text for a valid argument.

#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace dornctl::arguments {

// A whole decimal number, never octal, even with leading zeros; for transform().
CLI::Validator number(long lowest, long highest);
// A machine's name: 1 to 11 printable characters.
std::string machine(const std::string& text);
// A text that selects entries of a list: 1 to 8 characters.
std::string field(const std::string& text);
// A whole message for a machine.
std::string message(const std::string& text);
// "ADDRESS" or "ADDRESS:PORT".
std::string endpoint(const std::string& text);
// The same to listen on: an IPv4 address, and port 0 lets the kernel choose.
std::string binding(const std::string& text);
// The external parameters as messages have them: minutes, two flags, minutes.
std::string parameters(const std::string& text);
// "YYMMDDhhmmss", a valid time from 2000 to 2068, or "now".
std::string time(const std::string& text);
// "yes" or "no".
std::string yesOrNo(const std::string& text);

}  // namespace dornctl::arguments
