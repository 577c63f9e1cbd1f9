// Collects bytes and writes them to the inner stream in one piece.
#pragma once

#include <string>

#include "net/FilterOutputStream.h"

namespace teskd {

// Nothing reaches the inner stream before flush(); there is no size limit. Threads and ownership:
// as FilterOutputStream.
class BufferedOutputStream : public FilterOutputStream {
  public:
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

  private:
    std::string pending_;
};

}  // namespace teskd
