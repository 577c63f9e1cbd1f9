// The daemon's one way to the system log.
#pragma once

#include <cstdarg>

namespace teskd {

// Writes lines to the system log under the facility LOCAL6. A log that takes no lines holds nobody
// up for longer than SystemLog's patience. Debug lines of the whole daemon are bounded, since every
// request has some; one line tells how many were left out. No other line is left out here.
//
// Threads: every operation may be called from any thread; setSink only while no other thread logs.
// Locks: none of its own (SystemLog has its own). A cancellation point, as syslog(3) is.
// Errors: none leave write(); a long line for which there is no memory is written as its bare
// format.
class Log {
  public:
    // Full priorities, facility included (LOG_LOCAL6 | level).
    static constexpr int ERROR = 179;
    static constexpr int WARNING = 180;
    static constexpr int NOTICE = 181;
    static constexpr int INFO = 182;
    static constexpr int DEBUG = 183;

    static constexpr int DEBUG_LINES_PER_SECOND = 200;

    // From now on lines bear the identity and, if asked for, go to standard error as well. The log
    // is connected at once. @throws std::bad_alloc
    static void open(const char* identity, bool copies);
    // Disconnects from the log; a later line connects again.
    static void close();

    // Formats one line like printf and writes it with the given priority. The finished line never
    // serves as a format again, so text from a peer may stand in it.
    [[gnu::format(printf, 2, 3)]] static void write(int priority, const char* format, ...);

    // Where finished lines go. Default: the system log. Tests put their own in.
    using Sink = void (*)(int priority, const char* line);
    static void setSink(Sink sink);

  private:
    static void writeLong(int priority, const char* format, std::va_list arguments);

    static Sink sink_;
};

}  // namespace teskd
