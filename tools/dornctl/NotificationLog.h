// Prints notifications on standard output as they arrive, and appends them to a file of JSON lines.
// Repeated ones are marked.
//
// Ownership: the object owns the file. Threads: one user at a time.
// Errors: the constructor throws std::runtime_error if the file cannot be opened. Later write
// errors are reported by full(). A notification that cannot be decoded is shown as text.

#pragma once

#include <deque>
#include <fstream>
#include <string>

#include "dornctl/Json.h"
#include "notifyserver/NotificationServer.h"

namespace dornctl {

class NotificationLog {
  public:
    // Without a file name nothing is stored. Lines are appended to an existing file.
    NotificationLog(const Settings& settings, const std::string& file);

    void add(const notifyserver::Notification& notification, const std::string& answer);
    void addProblem(const std::string& sender, const std::string& problem) const;
    // Whether a write to standard output or to the file has failed.
    bool full() const { return full_; }

  private:
    void keep(const Json& line);

    // Whether the same datagram was among the latest ones.
    bool isRepeated(const notifyserver::Notification& notification);

    const Settings settings_;
    std::deque<std::string> recent_;
    std::ofstream file_;
    bool full_ = false;
};

}  // namespace dornctl
