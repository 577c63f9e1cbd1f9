// Where a packet is written to when a test wants its bytes.
//
// Ownership: a plain value. Threads: one user. Errors: nothing throws.

#pragma once

#include <cstddef>
#include <string>

#include "net/OutputStream.h"

namespace teskd::test {

class ByteSink : public OutputStream {
  public:
    using OutputStream::write;
    void write(int b) override { bytes += static_cast<char>(b); }
    void write(const char* buffer, std::size_t len) override {
        bytes.append(buffer, len);
        ++blocks;
    }

    std::string bytes;
    int blocks = 0;  // how many pieces they came in, single bytes aside
};

}  // namespace teskd::test
