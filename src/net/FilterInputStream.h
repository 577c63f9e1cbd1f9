// Base class of streams that read from another stream.
#pragma once

#include "net/InputStream.h"

namespace teskd {

// Forwards every operation unchanged to the inner stream.
//
// Ownership: does not own the inner stream, which must outlive it. Threads: as InputStream.
class FilterInputStream : public InputStream {
  public:
    explicit FilterInputStream(InputStream& inner) : inner_(&inner) {}

    unsigned available() override { return inner_->available(); }
    void close() override { inner_->close(); }
    int read() override { return inner_->read(); }
    int read(char* buffer, int len) override { return inner_->read(buffer, len); }
    int skip(int n) override { return inner_->skip(n); }
    void mark(int limit) override { inner_->mark(limit); }
    void reset() override { inner_->reset(); }
    bool markSupported() override { return inner_->markSupported(); }
    void setTimeout(int milliseconds) override { inner_->setTimeout(milliseconds); }
    int getTimeout() override { return inner_->getTimeout(); }

  protected:
    InputStream& inner() { return *inner_; }

  private:
    InputStream* inner_;
};

}  // namespace teskd
