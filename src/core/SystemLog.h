// The daemon's end of the system log's socket.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "core/Descriptor.h"
#include "core/ReadWriteLock.h"

namespace teskd {

// Sends lines to the system log as syslog(3) does, but never waits long for a log that takes none,
// nor often for one that is slow: what it cannot hand over is counted, and one line tells of it as
// soon as the log takes lines again. A record is
//
//     <priority>Mmm dd hh:mm:ss identity[pid]: text
//
// one datagram each, or ended by a zero byte where the log listens on a stream.
//
// Owner: Log, for the process's whole life. Threads: any. Locks: its own, innermost; threads send
// side by side as long as the log takes their lines at once. A cancellation point. Errors: none
// leave; nothing is allocated but the identity, so it works without memory.
class SystemLog {
  public:
    // Most bytes of a line's text that are sent; common system logs keep no more.
    static constexpr std::size_t LONGEST_TEXT = 8192;
    // Longest wait with one line; after one in vain the rest of the period goes by without any.
    static constexpr std::chrono::milliseconds PATIENCE{500};
    // Longest waiting altogether in each period; then lines are only offered.
    static constexpr std::chrono::milliseconds MOST_WAITING{2000};
    static constexpr std::chrono::seconds PERIOD{10};

    // For the socket at the path, which is kept by reference. The identity is the program's name.
    explicit SystemLog(const char* path);
    ~SystemLog() noexcept = default;

    // Connects at once, so that lines get out when no descriptor is left later. From now on each
    // line bears the identity and, if asked for, goes to standard error as well (StandardError).
    // @throws std::bad_alloc, with all done but the change of the identity
    void open(const char* identity, bool copies);
    // Disconnects; a later line connects anew.
    void close();

    // Sends one line with the full priority, facility included.
    void write(int priority, const char* text);

  private:
    using Clock = std::chrono::steady_clock;

    // The part of a record in front of the text.
    struct Heading {
        char bytes[512];
        std::size_t size;
        std::size_t tag;  // where "identity[pid]: " starts
    };

    Heading heading(int priority) const TESKD_REQUIRES_SHARED(lock_);
    bool offer(int priority, const char* text);
    bool report_lost() TESKD_REQUIRES(lock_);
    bool deliver(int priority, const char* text) TESKD_REQUIRES(lock_);
    bool connect() TESKD_REQUIRES(lock_);
    bool connectAs(int type) TESKD_REQUIRES(lock_);
    bool send(const Heading& heading, const char* text) TESKD_REQUIRES(lock_);
    // False with errno set, EPIPE for half a record on a stream.
    bool sendOnce(const Heading& heading, const char* text, int flags) TESKD_REQUIRES_SHARED(lock_);
    bool mayWait() TESKD_REQUIRES(lock_);
    void countWait(Clock::time_point since, bool inVain) TESKD_REQUIRES(lock_);
    void copyToStandardError(int priority, const char* text) TESKD_REQUIRES(lock_);

    const char* const path_;
    ReadWriteLock lock_;
    std::string tag_ TESKD_GUARDED_BY(lock_);  // "identity[pid]: "
    bool copies_ TESKD_GUARDED_BY(lock_) = false;
    bool stream_ TESKD_GUARDED_BY(lock_) = false;
    Descriptor socket_ TESKD_GUARDED_BY(lock_);
    unsigned long lost_ TESKD_GUARDED_BY(lock_) = 0;    // lines since the last one handed over
    Clock::time_point period_ TESKD_GUARDED_BY(lock_);  // when the present one began
    Clock::duration waited_ TESKD_GUARDED_BY(lock_){};  // in it
};

}  // namespace teskd
