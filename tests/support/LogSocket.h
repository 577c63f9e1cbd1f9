// The system log of one test: a datagram socket at its own path.
//
// Ownership: the object owns the socket, its file and the thread that collects the lines.
// Threads: every operation may be called from any thread; the collected lines have one lock.
// Errors: the constructor throws std::system_error. A datagram that cannot be parsed becomes a line
// of priority -1 with the whole datagram as its text.

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
    // The number of lines so far whose text contains `part`.
    std::size_t count(const std::string& part) const;
    // All lines as one text, for the message of a failed test.
    std::string dump() const;
    void clear();
    // Returns and removes the lines so far.
    std::vector<LogLine> take();

    // Stops reading until resume(), so that the log fills up.
    void pause() { setPaused(true); }
    void resume() { setPaused(false); }
    // Lets the kernel drop every further line on arrival: senders see a log that accepts
    // everything, and no thread is woken to read it.
    void discard();

    // The first line, so far or until the deadline, whose text contains `part` or a match of the
    // regular expression, or that the predicate accepts.
    std::optional<LogLine> waitFor(const std::string& part, Deadline deadline = {});
    std::optional<LogLine> waitForMatch(const std::string& pattern, Deadline deadline = {});
    std::optional<LogLine> waitForLine(const Predicate& predicate, Deadline deadline = {});
    // Whether at least `times` lines contain `part` before the deadline.
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
