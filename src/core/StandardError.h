// The daemon's way to standard error.
#pragma once

#include <atomic>
#include <string_view>

#include "core/Synchronized.h"

namespace teskd {

// Writes lines to standard error and never waits: a pipe or a terminal that nobody drains would
// stop the writer, and every thread that waits for the writer's locks. A line is taken whole and at
// once or it is dropped and counted; a line with the count goes in front of the next one taken.
//
// A pipe or a terminal is opened again for each line, without blocking. O_NONBLOCK on the inherited
// descriptor is not an option: it belongs to the open file, so every process that shares it (a
// shell, the other end of a script) would get it too and lose what it writes. An open file of our
// own has flags of its own; it is not kept, so that it costs no descriptor. Where it cannot be had
// (no /proc, no permission), a pipe is asked by poll whether it takes PIPE_BUF bytes. A terminal
// then gets no line: it may say yes and take less, and the writer would wait for the rest.
//
// Threads: any. Owner: the process, for its whole life; tests have their own. Locks: its own,
// innermost. Errors: none leave; nothing is allocated.
class StandardError {
  public:
    // Writes to that descriptor, which it does not own.
    explicit StandardError(int fd);
    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;

    // The process's own.
    static StandardError& inherited();
    // From now on lines go to that descriptor; -1: nowhere. For programs that are no daemon.
    void redirect(int fd) { fd_ = fd; }

    // Writes head and text as one line of at most PIPE_BUF bytes; what is longer is cut.
    void write(std::string_view head, std::string_view text);

  private:
    bool reportLost() TESKD_REQUIRES(lock_);
    bool writeLine(std::string_view head, std::string_view text) const;
    bool offer(std::string_view line) const;

    std::atomic<int> fd_;
    Synchronized lock_;
    unsigned long lost_ TESKD_GUARDED_BY(lock_) = 0;  // lines since the last one taken
};

}  // namespace teskd
