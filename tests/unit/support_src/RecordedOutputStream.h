// An output stream that records all calls.
//
// Ownership: plain values. Threads: one at a time. Errors: nothing throws.

#pragma once

#include <string>
#include <vector>

#include "net/OutputStream.h"

namespace teskd::test {

class RecordedOutputStream : public OutputStream {
  public:
    void close() override { calls.push_back("close"); }
    void flush() override {
        calls.push_back("flush");
        ++flushes;
    }
    void write(int b) override { keep(std::string(1, static_cast<char>(b))); }
    void write(const char* buffer, std::size_t len) override { keep({buffer, len}); }
    using OutputStream::write;

    std::vector<std::string> calls;  // "flush", "close", or "write " and the bytes
    std::string bytes;               // everything written
    int flushes = 0;

  private:
    void keep(const std::string& written) {
        calls.push_back("write " + written);
        bytes += written;
    }
};

}  // namespace teskd::test
