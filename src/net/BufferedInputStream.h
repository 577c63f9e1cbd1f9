// Reads the inner stream in blocks and hands them out in pieces, with mark and reset.
#pragma once

#include <memory>

#include "net/FilterInputStream.h"

namespace teskd {

// Threads and ownership: as FilterInputStream.
class BufferedInputStream : public FilterInputStream {
  public:
    static constexpr int DEFAULT_SIZE = 2048;

    // @throws OutOfMemoryException
    explicit BufferedInputStream(InputStream& inner);
    // size: the buffer's capacity in bytes, at least 1.
    BufferedInputStream(InputStream& inner, int size);
    BufferedInputStream(const BufferedInputStream& source);
    BufferedInputStream& operator=(const BufferedInputStream&) = delete;

    // What the buffer holds and what the inner stream has.
    unsigned available() override;
    // Closes the inner stream and drops the buffer.
    void close() override;
    int read() override;
    // Up to len bytes of one refill; 0 at the end of the stream. All of buffer is zeroed first.
    int read(char* buffer, int len) override;
    // Drops up to n bytes of one refill; the count, 0 at the end of the stream.
    int skip(int n) override;
    // A limit of 0 or less acts as reset().
    void mark(int limit) override;
    // Goes back to the mark, once. @throws IOException without a valid mark
    void reset() override;
    bool markSupported() override { return true; }

    // Bytes held in the buffer, at no cost.
    int held() const { return count_ - pos_; }

  private:
    void invalidateMarkIfPassed();
    void fill();
    void makeRoom(int limit);
    void dropMarkAndBytes();

    std::unique_ptr<char[]> buffer_;
    int markLimit_ = 0;
    int markPos_ = 0;
    int pos_ = 0;    // next byte to hand out
    int count_ = 0;  // bytes in the buffer, those handed out included
    int size_;
};

}  // namespace teskd
