// Runs the host's tool as a user does.
//
// Ownership: plain values. Threads: one user at a time.
// Errors: a tool that does not end fails the test.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/ChildProcess.h"

namespace teskd::test {

struct Printed {
    int status = -1;
    std::string output{};  // timeless
    std::string error{};   // timeless
};

// Runs it to its end with these arguments.
Printed dornctl(const std::vector<std::string>& arguments);
// The same with "--host" for a port of 127.0.0.1, which is called GATEWAY in what is printed.
Printed dornctl(std::uint16_t port, std::vector<std::string> arguments);

// What the tool prints when all goes well.
std::string outputOf(std::uint16_t port, const std::vector<std::string>& arguments);

// A document of JSON in one line, with its keys in their order.
std::string compact(const std::string& json);
// What the tool prints with "--json" when all goes well, in one line.
std::string jsonOf(std::uint16_t port, std::vector<std::string> arguments);

// The command of a tool that a test runs by itself.
ChildProcess::Options dornctlCommand(std::uint16_t port, std::vector<std::string> arguments);

// Today's date as frames have it becomes "dd.mm.yy", in ISO 8601 "DATE"; full times become
// "YYYY-MM-DD hh:mm:ss", and those of ISO 8601 with a zone "TIME".
std::string timeless(std::string text);

}  // namespace teskd::test
