// The daemon's one way to the system log.
#pragma once

#include <string>

namespace teskd {

// Writes lines to syslog under the facility LOCAL6.
//
// Threads: every operation may be called from any thread; setSink only while no other thread logs.
// Locks: none of its own (syslog has its own). A cancellation point, as syslog is.
// Errors: none leave; a line that cannot be formatted is written as its bare format.
class Log {
  public:
    // Full priorities, facility included (LOG_LOCAL6 | level).
    static constexpr int ERROR = 179;
    static constexpr int WARNING = 180;
    static constexpr int NOTICE = 181;
    static constexpr int INFO = 182;
    static constexpr int DEBUG = 183;

    // Formats one line like printf and writes it with the given priority. The finished line never
    // serves as a format again, so text from a peer may stand in it.
    [[gnu::format(printf, 2, 3)]] static void write(int priority, const char* format, ...);

    // Where finished lines go. Default: syslog. Tests put their own in.
    using Sink = void (*)(int priority, const char* line);
    static void setSink(Sink sink);

  private:
    static Sink sink_;
};

}  // namespace teskd
