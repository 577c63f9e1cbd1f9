// Reads the inner stream in blocks, with mark and reset.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

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

    // Bytes in the buffer plus bytes available from the inner stream.
    unsigned available() override;
    // Closes the inner stream and frees the buffer.
    void close() override;
    int read() override;
    // Up to len bytes, refilling the buffer once at most; 0 at the end of the stream. Otherwise the
    // rest of buffer is zeroed.
    int read(char* buffer, int len) override;
    // Drops up to n bytes, refilling the buffer once at most; the count, 0 at the end of the
    // stream.
    int skip(int n) override;
    // A limit of 0 or less acts as reset().
    void mark(int limit) override;
    // Goes back to the mark, once. @throws IOException without a valid mark
    void reset() override;
    bool markSupported() override { return true; }

    // Bytes in the buffer. Makes no system call, unlike available().
    int held() const { return count_ - pos_; }
    // These bytes, until the next operation.
    std::string_view view() const {
        return {buffer_.get() + pos_, static_cast<std::size_t>(held())};
    }
    // Drops n of them, at most held(), as if they had been read.
    void advance(int n) { pos_ += n; }

  private:
    bool refill();
    void invalidateMarkIfPassed();
    void fill();
    void makeRoom(int limit);
    void dropMarkAndBytes();

    std::unique_ptr<char[]> buffer_;
    int markLimit_ = 0;
    int markPos_ = 0;
    int pos_ = 0;    // next byte to hand out
    int count_ = 0;  // bytes in the buffer, including those before pos_
    int size_;
};

}  // namespace teskd
