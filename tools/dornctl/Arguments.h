// Checks of single arguments, before anything is sent.
//
// Ownership: plain values. Threads: no state.
// Errors: every check returns what was expected, or an empty text when the argument is good.

#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace dornctl::arguments {

// A whole decimal number, also with zeros in front, which make it octal to others; for transform().
CLI::Validator number(long lowest, long highest);
// A machine's name: 1 to 11 characters that can be printed.
std::string machine(const std::string& text);
// What chooses entries of a list: 1 to 8 characters.
std::string field(const std::string& text);
// A message for a machine as it stands.
std::string message(const std::string& text);
// "ADDRESS" or "ADDRESS:PORT".
std::string endpoint(const std::string& text);
// The same to listen on: an IPv4 address, and port 0 lets the kernel choose.
std::string binding(const std::string& text);
// The external parameters as messages have them: minutes, two flags, minutes.
std::string parameters(const std::string& text);
// "YYMMDDhhmmss", a time from 2000 to 2068 that the calendar has, or "now".
std::string time(const std::string& text);
// "yes" or "no".
std::string yesOrNo(const std::string& text);

}  // namespace dornctl::arguments
