// A block of annotated bytes from the page about the protocols:
//
//     gateway -> host
//     FF 81 02 07                 start, request or answer, constant, type 7
//     32 31 2E 31 31 2E 32 36   * "21.11.26"  date of the gateway
//
// The first line tells who sends to whom. Bytes with a "*" differ from run to run. Text in quotes
// is that of all bytes in the line.
//
// Ownership: a plain value. Threads: no state. Errors: parse() throws std::runtime_error.

#pragma once

#include <string>
#include <vector>

namespace teskd::test {

struct AnnotatedBytes {
    std::string from{};
    std::string to{};
    std::string bytes{};
    std::string varies{};  // as long as bytes: '*' where a byte may differ, else ' '

    static AnnotatedBytes parse(const std::vector<std::string>& lines);

    // Whether others are these bytes but for what may differ.
    bool matches(const std::string& others) const;
};

}  // namespace teskd::test
