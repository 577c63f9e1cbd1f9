// Records the log lines of the code under test.
//
// Ownership: the lines are global; a LogRecorder is a view that starts empty.
// Threads: every operation may be called from any thread. One recorder at a time.
// Errors: nothing throws.

#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "support/Deadline.h"

namespace teskd::test {

struct LogEntry {
    int priority;  // facility included: 180 is a warning
    std::string text;

    bool operator==(const LogEntry&) const = default;
};
std::ostream& operator<<(std::ostream& out, const LogEntry& entry);

class LogRecorder {
  public:
    // Removes earlier lines.
    LogRecorder();

    std::vector<LogEntry> lines() const;
    std::size_t count(const LogEntry& entry) const;
    void clear();

    // Whether the line, or a line that contains this text, is there before the deadline.
    bool waitFor(const LogEntry& entry, Deadline deadline = {}) const;
    bool waitForText(const std::string& part, Deadline deadline = {}) const;

    // Makes the recorder the sink of the log. Call once, before anything is logged.
    static void install();
};

}  // namespace teskd::test
