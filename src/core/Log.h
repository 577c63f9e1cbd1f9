// The daemon's only interface to the system log.
#pragma once

#include <cstdarg>

namespace teskd {

// Writes lines to the system log under the facility LOCAL6. A system log that accepts no lines
// delays a caller only within SystemLog's limits (PATIENCE, MOST_WAITING). Debug lines have a rate
// limit for the whole daemon, since every request logs some; one line says how many were dropped.
// Other lines are not limited here: those that others can cause are written by a LogSource.
//
// Threads: every operation may be called from any thread; setSink only while no other thread logs.
// Locks: none of its own (SystemLog has its own). A cancellation point, as syslog(3) is.
// Errors: write() throws nothing; a long line for which there is no memory is written as its
// format, without the arguments.
class Log {
  public:
    // Full priorities, facility included (LOG_LOCAL6 | level).
    static constexpr int ERROR = 179;
    static constexpr int WARNING = 180;
    static constexpr int NOTICE = 181;
    static constexpr int INFO = 182;
    static constexpr int DEBUG = 183;

    static constexpr int DEBUG_LINES_PER_SECOND = 200;

    // Sets the identity that each line bears from now on, and whether lines also go to standard
    // error. Connects to the log at once. @throws std::bad_alloc
    static void open(const char* identity, bool copies);
    // Disconnects from the log; a later line connects again.
    static void close();

    // Formats one line like printf and writes it with the given priority. The formatted line is
    // never used as a format again, so it may contain text from a peer.
    [[gnu::format(printf, 2, 3)]] static void write(int priority, const char* format, ...);
    [[gnu::format(printf, 2, 0)]] static void vwrite(int priority, const char* format,
                                                     std::va_list arguments);

    // Receives the formatted lines. Default: the system log, also restored by null. Tests set their
    // own.
    using Sink = void (*)(int priority, const char* line);
    static void setSink(Sink sink);

  private:
    friend class LogSource;  // a count of dropped lines must not be dropped itself

    // Whether the rate limit of debug lines allows a line of that priority.
    static bool mayWrite(int priority);
    [[gnu::format(printf, 2, 3)]] static void writeUnlimited(int priority, const char* format, ...);
    static void vwriteUnlimited(int priority, const char* format, std::va_list arguments);
    static void writeLong(int priority, const char* format, std::va_list arguments);

    static Sink sink_;
};

}  // namespace teskd
