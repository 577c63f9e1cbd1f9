// The writing side of a byte stream.
#pragma once

#include <cstddef>
#include <string>

namespace teskd {

// Abstract sink of bytes. By default drops them.
//
// Threads: one thread at a time unless a subclass says otherwise. Ownership: the creator's; filters
// refer to the stream they wrap. Errors: operations throw only the IOException family.
class OutputStream {
  public:
    OutputStream() = default;
    virtual ~OutputStream() = default;

    virtual void close();
    virtual void flush();
    // The low eight bits of b.
    virtual void write(int b);
    // All len bytes.
    virtual void write(const char* buffer, std::size_t len);
    virtual void write(const std::string& bytes);
    // Flushes as much as is possible without blocking; true when nothing is left to flush. By
    // default the same as flush().
    virtual bool flushAvailable();

  protected:
    OutputStream(const OutputStream&) = default;
    OutputStream& operator=(const OutputStream&) = default;
};

}  // namespace teskd
