// The receiving end of the system log for one test: a datagram socket at a path of its own.
//
// Ownership: the object owns the socket, its file and the thread that collects the lines.
// Threads: every operation may be called from any thread; the collected lines have one lock.
// Errors: the constructor throws std::system_error. A datagram that does not parse is kept as a
// line of priority -1 with the whole datagram as its text, so that nothing gets lost.

#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/Deadline.h"
#include "support/LogLine.h"
#include "support/UniqueFd.h"

namespace teskd::test {

class LogSocket {
  public:
    using Predicate = std::function<bool(const LogLine&)>;

    explicit LogSocket(std::filesystem::path path);
    ~LogSocket();
    LogSocket(const LogSocket&) = delete;
    LogSocket& operator=(const LogSocket&) = delete;

    const std::filesystem::path& path() const { return path_; }

    std::vector<LogLine> lines() const;
    // Number of lines so far whose text contains `part`.
    std::size_t count(const std::string& part) const;
    // All lines as text, one below the other, for the message of a failing test.
    std::string dump() const;
    void clear();
    // The lines so far, which are then forgotten.
    std::vector<LogLine> take();

    // Reads nothing, so that the log fills up, until resume().
    void pause() { setPaused(true); }
    void resume() { setPaused(false); }
    // From now on the system drops every line on arrival: senders find a log that takes all, and
    // nobody is woken to read it.
    void discard();

    // The first line, past or to come before the deadline, whose text contains `part`, whose
    // text matches the regular expression somewhere, or which the predicate accepts.
    std::optional<LogLine> waitFor(const std::string& part, Deadline deadline = {});
    std::optional<LogLine> waitForMatch(const std::string& pattern, Deadline deadline = {});
    std::optional<LogLine> waitForLine(const Predicate& predicate, Deadline deadline = {});
    // Whether `part` is in at least `times` lines before the deadline.
    bool waitForCount(const std::string& part, std::size_t times, Deadline deadline = {});

  private:
    void collect();
    void setPaused(bool paused);
    void add(std::string_view datagram);

    const std::filesystem::path path_;
    UniqueFd socket_;
    UniqueFd wake_;
    std::atomic<bool> paused_{false};
    std::atomic<bool> ending_{false};

    mutable std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<LogLine> lines_;  // guarded by mutex_

    std::thread thread_;
};

}  // namespace teskd::test
