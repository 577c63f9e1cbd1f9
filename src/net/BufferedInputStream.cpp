#include "net/BufferedInputStream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "core/Exception.h"

namespace teskd {

namespace {

std::unique_ptr<char[]> allocate(int size, const char* errorText) {
    std::unique_ptr<char[]> buffer(new (std::nothrow) char[static_cast<std::size_t>(size)]);
    if (!buffer) throw OutOfMemoryException(errorText);
    return buffer;
}

constexpr const char* NO_DEFAULT_BUFFER = "Could not allocate memory integer array";
constexpr const char* NO_SIZED_BUFFER = "Could not allocate memory for char array";

}  // namespace

BufferedInputStream::BufferedInputStream(InputStream& inner)
    : FilterInputStream(inner),
      buffer_(allocate(DEFAULT_SIZE, NO_DEFAULT_BUFFER)),
      size_(DEFAULT_SIZE) {}

BufferedInputStream::BufferedInputStream(InputStream& inner, int size)
    : FilterInputStream(inner),
      buffer_(allocate(std::max(size, 1), NO_SIZED_BUFFER)),
      size_(std::max(size, 1)) {}

BufferedInputStream::BufferedInputStream(const BufferedInputStream& source)
    : FilterInputStream(source),
      buffer_(allocate(std::max(source.size_, 1), NO_SIZED_BUFFER)),
      markLimit_(source.markLimit_),
      markPos_(source.markPos_),
      pos_(source.pos_),
      count_(source.count_),
      size_(std::max(source.size_, 1)) {
    std::copy_n(source.buffer_.get(), count_, buffer_.get());
}

unsigned BufferedInputStream::available() {
    return inner().available() + static_cast<unsigned>(held());
}

void BufferedInputStream::close() {
    inner().close();
    buffer_.reset();
    size_ = 0;
    dropMarkAndBytes();
}

int BufferedInputStream::read() {
    if (held() == 0 && !refill()) return -1;
    return static_cast<unsigned char>(buffer_[static_cast<std::size_t>(pos_++)]);
}

int BufferedInputStream::read(char* buffer, int len) {
    if (len < 1 || (held() == 0 && !refill())) return 0;
    const int n = std::min(held(), len);
    std::memcpy(buffer, buffer_.get() + pos_, static_cast<std::size_t>(n));
    std::memset(buffer + n, 0, static_cast<std::size_t>(len - n));
    pos_ += n;
    return n;
}

// Whether there is a byte to hand out now.
bool BufferedInputStream::refill() {
    invalidateMarkIfPassed();
    fill();
    return held() > 0;
}

// Without a valid mark the bytes before pos_ are no longer needed, so the buffer is emptied. A full
// buffer has no room for another byte within the mark's limit, so it invalidates the mark as well.
void BufferedInputStream::invalidateMarkIfPassed() {
    if (pos_ - markPos_ > markLimit_ || count_ == size_) dropMarkAndBytes();
}

void BufferedInputStream::fill() {
    while (count_ < size_) {
        const int n = inner().read(buffer_.get() + count_, size_ - count_);
        if (n < 1) return;
        count_ += n;
        if (count_ == size_ || inner().available() == 0) return;
    }
}

// One read returns no more than the buffer's size, so no more memory than that is needed.
int BufferedInputStream::skip(int n) {
    std::vector<char> dropped(static_cast<std::size_t>(std::clamp(n, 0, size_)));
    return read(dropped.data(), static_cast<int>(dropped.size()));
}

void BufferedInputStream::mark(int limit) {
    if (limit <= 0) {
        reset();
        return;
    }
    if (limit > size_ - pos_) makeRoom(limit);
    markPos_ = pos_;
    markLimit_ = limit;
}

void BufferedInputStream::makeRoom(int limit) {
    char* const unread = buffer_.get() + pos_;
    if (size_ / 2 < limit) {
        if (limit > std::numeric_limits<int>::max() / 2) {
            throw OutOfMemoryException(NO_DEFAULT_BUFFER);
        }
        std::unique_ptr<char[]> larger = allocate(2 * limit, NO_DEFAULT_BUFFER);
        std::copy_n(unread, held(), larger.get());
        buffer_ = std::move(larger);
        size_ = 2 * limit;
    } else {
        std::copy_n(unread, held(), buffer_.get());
    }
    count_ -= pos_;
    pos_ = 0;
}

void BufferedInputStream::reset() {
    if (markLimit_ == 0) {
        throw IOException("This stream has not been marked or the mark has been invalidated.");
    }
    markLimit_ = 0;
    pos_ = markPos_;
}

void BufferedInputStream::dropMarkAndBytes() {
    markLimit_ = 0;
    markPos_ = 0;
    pos_ = 0;
    count_ = 0;
}

}  // namespace teskd
