// One line as sent to the system log.
//
// Ownership: plain values. Threads: no state. Errors: an invalid line gives no value.

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace teskd::test {

struct LogLine {
    int priority = 0;       // facility and severity as sent, 180 for example
    std::string timestamp;  // "Mmm dd hh:mm:ss"
    std::string ident;      // without the process id
    int pid = 0;            // 0 if the line has none
    std::string text;
};

// Parses "<PRI>Mmm dd hh:mm:ss ident[pid]: text"; "[pid]" may be missing.
std::optional<LogLine> parseLogLine(std::string_view line);

}  // namespace teskd::test
