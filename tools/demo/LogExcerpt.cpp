#include "demo/LogExcerpt.h"

#include <array>
#include <string>
#include <syslog.h>

namespace demo {

using teskd::test::LogLine;

namespace {

constexpr std::size_t kTimeOffset = 7;  // "Mmm dd hh:mm:ss"

std::string severity(int priority) {
    static const std::array<const char*, 8> kNames = {"emergency", "alert",  "critical", "error",
                                                      "warning",   "notice", "info",     "debug"};
    return kNames.at(static_cast<std::size_t>(LOG_PRI(priority)));
}

bool isInteresting(const LogLine& line) {
    const bool confirmsLineSetting = line.text.rfind("Un-handle Telnet", 0) == 0;
    return line.priority >= 0 && LOG_PRI(line.priority) != LOG_DEBUG && !confirmsLineSetting;
}

}  // namespace

teskhost::Table logExcerpt(const std::vector<LogLine>& lines) {
    teskhost::Table table({{"time"}, {"priority"}, {"text"}});
    for (const LogLine& line : lines) {
        if (!isInteresting(line)) continue;
        const std::string& stamp = line.timestamp;
        table.add({stamp.size() > kTimeOffset ? stamp.substr(kTimeOffset) : stamp,
                   std::to_string(line.priority) + " " + severity(line.priority), line.text});
    }
    return table;
}

}  // namespace demo
