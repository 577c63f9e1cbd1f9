// The reading side of a byte stream.
#pragma once

namespace teskd {

// Abstract source of bytes. By default an empty stream.
//
// Threads: one thread at a time. Ownership: the creator's; filters refer to the stream they wrap.
// Errors: operations throw only the IOException family (buffers also OutOfMemoryException). The end
// of the stream is a return value, never an exception.
class InputStream {
  public:
    InputStream() = default;
    virtual ~InputStream() = default;

    // Bytes that can be read without blocking.
    virtual unsigned available();
    virtual void close();
    // One byte as 0 to 255, or -1 at the end of the stream.
    virtual int read();
    // Up to len bytes; the count, or -1 when none was read.
    virtual int read(char* buffer, int len);
    // Reads and drops up to n bytes; the count.
    virtual int skip(int n);
    // Remembers the position for one reset(), valid for limit bytes.
    virtual void mark(int limit);
    virtual void reset();
    virtual bool markSupported();
    // Longest wait for data in milliseconds; 0: without limit.
    virtual void setTimeout(int milliseconds);
    virtual int getTimeout();

    // Reads exactly len bytes, fewer only at the end of the stream; the count.
    int readFully(char* buffer, int len);

  protected:
    InputStream(const InputStream&) = default;
    InputStream& operator=(const InputStream&) = default;
};

}  // namespace teskd
