// What the code under test writes to the log.
//
// Ownership: the lines belong to the process; a LogRecorder is a view that starts empty.
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
    // Forgets what was written before.
    LogRecorder();

    std::vector<LogEntry> lines() const;
    std::size_t count(const LogEntry& entry) const;
    void clear();

    // Whether the line, or a line with this text in it, is there before the deadline.
    bool waitFor(const LogEntry& entry, Deadline deadline = {}) const;
    bool waitForText(const std::string& part, Deadline deadline = {}) const;

    // Makes the recorder the end of the log. Once, before anything logs.
    static void install();
};

}  // namespace teskd::test
