// A source of log lines with a rate limit, so that a busy peer cannot fill the log.
#pragma once

#include <cstdarg>
#include <limits>
#include <string_view>

#include "core/Deadline.h"
#include "core/Log.h"
#include "core/Synchronized.h"

namespace teskd {

// Writes lines to the log out of a budget of lines a second. A line beyond it is dropped and
// counted, and a later line reports the count, with the priority of the most urgent line that it
// counts: a log that does not keep the lines does not fill with their counts. A source may have a
// parent: each of its lines then counts on the parent's budget too, which limits what all children
// log together.
//
// A class whose lines others can cause has a source or is handed one by reference; it just writes.
//
// Threads: any. Owner: the object whose lines it writes; the parent must outlive its children.
// Locks: its own, innermost; not held while a line is written. A cancellation point, as Log is.
// Errors: writing throws nothing.
class LogSource {
  public:
    static constexpr int LINES_PER_SECOND = 4;
    static constexpr int UNLIMITED = std::numeric_limits<int>::max();

    // kind: what the line with the count calls the dropped lines; kept by reference.
    explicit LogSource(int linesPerSecond = LINES_PER_SECOND, const char* kind = "lines")
        : most_(linesPerSecond), kind_(kind) {}
    LogSource(int linesPerSecond, LogSource& parent)
        : most_(linesPerSecond), kind_("lines"), parent_(&parent) {}
    LogSource(const LogSource&) = delete;
    LogSource& operator=(const LogSource&) = delete;
    // Reports the dropped lines that were not reported yet.
    ~LogSource() noexcept(false);

    // The process's source without a limit, for lines that others cannot cause.
    static LogSource& unlimited();

    // Format a line like printf and write it, or drop and count it. True if it was written.
    [[gnu::format(printf, 2, 3)]] bool warning(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] bool notice(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] bool info(const char* format, ...);
    [[gnu::format(printf, 2, 3)]] bool debug(const char* format, ...);
    // The same for a line that goes to standard error only: head and text (StandardError::write).
    bool standardError(std::string_view head, std::string_view text);

    // Reports how many lines were dropped, once the second in which that happened is over. For a
    // source that may have no more lines to write: otherwise only its next line or the destructor
    // reports them.
    void report();
    // Whether lines were dropped that were not reported yet.
    bool hasUnreported() const;

  private:
    friend class Log;  // asks for debug lines, which the whole daemon's source limits

    struct Dropped {
        unsigned long lines = 0;
        int priority = Log::DEBUG;  // of the most urgent one
    };

    [[gnu::format(printf, 3, 0)]] bool write(int priority, const char* format,
                                             std::va_list arguments);
    // True if one more line of that priority may be written now. False counts it as dropped.
    bool take(int priority);
    // Returns the dropped lines and resets them. With secondIsOver, returns none until the second
    // is over.
    Dropped takeDropped(bool secondIsOver);
    void reportDropped(const Dropped& dropped);
    void addDropped(const Dropped& dropped);

    const int most_;
    const char* const kind_;
    LogSource* const parent_ = nullptr;
    mutable Synchronized lock_;
    Deadline secondEnd_ TESKD_GUARDED_BY(lock_) = Deadline::passed();
    int lines_ TESKD_GUARDED_BY(lock_) = 0;    // written in that second
    Dropped dropped_ TESKD_GUARDED_BY(lock_);  // not reported yet
};

}  // namespace teskd
