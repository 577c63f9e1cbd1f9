// Writes lines to standard error without blocking.
#pragma once

#include <atomic>
#include <string_view>

#include "core/Synchronized.h"

namespace teskd {

// Writes lines to standard error and never blocks: a pipe or a terminal that nobody reads would
// block the writer, and every thread that waits for the writer's locks. A line is written whole and
// at once, or it is dropped and counted; a line with the count precedes the next one written.
//
// A pipe or a terminal is opened again for each line, with O_NONBLOCK. Setting O_NONBLOCK on the
// inherited descriptor is not an option: the flag belongs to the open file, so every process that
// shares it (a shell, the other end of a script) would get it too and lose what it writes. The new
// open file is not kept, so that it costs no descriptor. If it cannot be opened (no /proc, no
// permission), poll tells whether a pipe takes PIPE_BUF bytes. A terminal then gets no line: poll
// may report it as writable although it takes less, and the writer would wait for the rest.
//
// Threads: any. Owner: the process, for its whole life; tests have their own. Locks: its own,
// innermost. Errors: throws nothing; allocates nothing.
class StandardError {
  public:
    // Writes to the descriptor, which stays the caller's.
    explicit StandardError(int fd);
    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;

    // The instance for the process's standard error.
    static StandardError& inherited();
    // Sends further lines to the descriptor, or nowhere for -1. For programs other than the daemon.
    void redirect(int fd) { fd_ = fd; }

    // Writes head and text as one line of at most PIPE_BUF bytes; a longer one is cut.
    void write(std::string_view head, std::string_view text);

  private:
    bool reportLost() TESKD_REQUIRES(lock_);
    bool writeLine(std::string_view head, std::string_view text) const;
    bool offer(std::string_view line) const;

    std::atomic<int> fd_;
    Synchronized lock_;
    unsigned long lost_ TESKD_GUARDED_BY(lock_) = 0;  // dropped lines, not reported yet
};

}  // namespace teskd
