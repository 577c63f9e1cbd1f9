// Base class of streams that write to another stream.
#pragma once

#include "net/OutputStream.h"

namespace teskd {

// Forwards every operation unchanged to the inner stream.
//
// Ownership: does not own the inner stream, which must outlive it. Threads: as OutputStream.
class FilterOutputStream : public OutputStream {
  public:
    explicit FilterOutputStream(OutputStream& inner) : inner_(&inner) {}

    void close() override { inner_->close(); }
    void flush() override { inner_->flush(); }
    void write(int b) override { inner_->write(b); }
    void write(const char* buffer, std::size_t len) override { inner_->write(buffer, len); }
    void write(const std::string& bytes) override { inner_->write(bytes); }
    bool flushAvailable() override { return inner_->flushAvailable(); }

  protected:
    OutputStream& inner() { return *inner_; }

  private:
    OutputStream* inner_;
};

}  // namespace teskd
