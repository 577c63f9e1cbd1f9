// An output stream that stores the bytes of a packet.
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
    int blocks = 0;  // the number of writes, except of single bytes
};

}  // namespace teskd::test
