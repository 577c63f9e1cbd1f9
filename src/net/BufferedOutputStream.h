// Collects bytes and writes them to the inner stream in one piece.
#pragma once

#include <string>

#include "net/FilterOutputStream.h"

namespace teskd {

// Nothing reaches the inner stream before flush(), unless more is written than the capacity: a full
// buffer flushes itself before it takes another byte. Between a flush and the next write it keeps
// little memory, so what was once large costs nothing for the rest of a connection's life.
//
// Threads and ownership: as FilterOutputStream. Errors: every write may throw what flush() does;
// its bytes from there on are not taken.
class BufferedOutputStream : public FilterOutputStream {
  public:
    // Bytes that wait, at most.
    static constexpr std::size_t CAPACITY = std::size_t{64} * 1024;

    using FilterOutputStream::FilterOutputStream;

    // Closes the inner stream; pending bytes are discarded.
    void close() override;
    // One inner write of all pending bytes, then the inner flush. The bytes stay pending when the
    // write fails.
    void flush() override;
    void write(int b) override;
    void write(const char* buffer, std::size_t len) override;
    void write(const std::string& bytes) override;
    bool flushAvailable() override { return OutputStream::flushAvailable(); }

  protected:
    std::string& pending() { return pending_; }
    // So many of the first pending bytes were written.
    void written(std::size_t count);

  private:
    // Bytes of memory that are kept for the next write, at most.
    static constexpr std::size_t MOST_KEPT = 4096;

    std::string pending_;
};

}  // namespace teskd
