// The daemon's end of the system log's socket.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "core/Deadline.h"
#include "core/Descriptor.h"
#include "core/Synchronized.h"

namespace teskd {

// Sends lines to the system log as syslog(3) does, but limits how long it waits for a log that is
// slow or accepts no lines: for one line (PATIENCE), and for all lines of a period (MOST_WAITING).
// Lines that it cannot send are dropped and counted, and one line reports the count as soon as the
// log accepts lines again. A record is
//
//     <priority>Mmm dd hh:mm:ss identity[pid]: text
//
// sent as one datagram, or ended by a zero byte if the log listens on a stream.
//
// Owner: Log, for the process's whole life. Threads: any. Locks: its own, held while a line is sent
// and waited for; only StandardError's is taken meanwhile. A cancellation point. Errors: nothing
// but open() throws; allocates nothing but the identity, so it works without memory.
class SystemLog {
  public:
    // Most bytes of a line's text that are sent; common system logs keep no more.
    static constexpr std::size_t LONGEST_TEXT = 8192;
    // Longest wait for one line. After a wait that failed, lines are sent without waiting for the
    // rest of the period.
    static constexpr std::chrono::milliseconds PATIENCE{500};
    // Budget for all waits of a period; once it is spent, lines are sent without waiting.
    static constexpr std::chrono::milliseconds MOST_WAITING{2000};
    static constexpr std::chrono::seconds PERIOD{10};

    // Logs to the socket at the path, which is kept by reference. The identity is the program's
    // name.
    explicit SystemLog(const char* path);
    ~SystemLog() noexcept = default;

    // Connects at once, so that lines can still be sent when no descriptor is left later. From now
    // on each line bears the identity and, if copies is true, goes to standard error as well
    // (StandardError).
    // @throws std::bad_alloc, with everything done but the change of the identity
    void open(const char* identity, bool copies);
    // Disconnects; a later line connects again.
    void close();

    // Sends one line with the full priority, facility included.
    void write(int priority, const char* text);

  private:
    using Clock = std::chrono::steady_clock;

    // "<priority>Mmm dd hh:mm:ss ", the first part of a record.
    struct Heading {
        explicit Heading(int priority);

        char bytes[48];
        std::size_t size;
    };

    // True if no lost line remains to be reported.
    bool reportLost() TESKD_REQUIRES(lock_);
    bool deliver(int priority, const char* text) TESKD_REQUIRES(lock_);
    bool connect() TESKD_REQUIRES(lock_);
    bool connectAs(int type) TESKD_REQUIRES(lock_);
    bool send(const Heading& heading, const char* text) TESKD_REQUIRES(lock_);
    // False with errno set; EPIPE if a stream took only part of the record.
    bool sendOnce(const Heading& heading, const char* text, int flags) TESKD_REQUIRES(lock_);
    bool mayWait() TESKD_REQUIRES(lock_);
    void countWait(Clock::time_point since, bool inVain) TESKD_REQUIRES(lock_);

    const char* const path_;
    Synchronized lock_;
    std::string tag_ TESKD_GUARDED_BY(lock_);  // "identity[pid]: "
    bool copies_ TESKD_GUARDED_BY(lock_) = false;
    bool stream_ TESKD_GUARDED_BY(lock_) = false;
    Descriptor socket_ TESKD_GUARDED_BY(lock_);
    unsigned long lost_ TESKD_GUARDED_BY(lock_) = 0;  // lines not reported yet
    Deadline periodEnd_ TESKD_GUARDED_BY(lock_) = Deadline::passed();
    Clock::duration waited_ TESKD_GUARDED_BY(lock_){};  // in the current period
};

}  // namespace teskd
