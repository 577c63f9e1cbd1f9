// Collects bytes and writes them to the inner stream in one piece.
#pragma once

#include <string>

#include "net/FilterOutputStream.h"

namespace teskd {

// Bytes reach the inner stream with flush(). A full buffer flushes itself before it takes another
// byte. A large buffer is freed once it is empty, so that one large message does not use memory for
// the rest of a connection's life.
//
// Threads and ownership: as FilterOutputStream. Errors: every write may throw what flush() throws;
// its remaining bytes are not taken then.
class BufferedOutputStream : public FilterOutputStream {
  public:
    // Limit of pending bytes.
    static constexpr std::size_t CAPACITY = std::size_t{64} * 1024;

    using FilterOutputStream::FilterOutputStream;

    // Closes the inner stream; pending bytes are discarded.
    void close() override;
    // One inner write of all pending bytes, then the inner flush. If either fails, the bytes stay
    // pending.
    void flush() override;
    void write(int b) override;
    void write(const char* buffer, std::size_t len) override;
    void write(const std::string& bytes) override;
    bool flushAvailable() override { return OutputStream::flushAvailable(); }

  protected:
    std::string& pending() { return pending_; }
    // Removes the first count pending bytes, which were written.
    void written(std::size_t count);

  private:
    // A buffer with at most this capacity, in bytes, is kept for the next write.
    static constexpr std::size_t MOST_KEPT = 4096;

    std::string pending_;
};

}  // namespace teskd
