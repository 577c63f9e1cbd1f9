#include "net/BufferedOutputStream.h"

#include <algorithm>

namespace teskd {

void BufferedOutputStream::close() {
    inner().close();
    written(pending_.size());
}

void BufferedOutputStream::flush() {
    inner().write(pending_.data(), pending_.size());
    inner().flush();
    written(pending_.size());
}

void BufferedOutputStream::write(int b) {
    if (pending_.size() == CAPACITY) flush();
    pending_.push_back(static_cast<char>(b));
}

void BufferedOutputStream::write(const char* buffer, std::size_t len) {
    while (len > 0) {
        if (pending_.size() == CAPACITY) flush();
        const std::size_t count = std::min(len, CAPACITY - pending_.size());
        pending_.append(buffer, count);
        buffer += count;
        len -= count;
    }
}

void BufferedOutputStream::write(const std::string& bytes) {
    write(bytes.data(), bytes.size());
}

void BufferedOutputStream::written(std::size_t count) {
    pending_.erase(0, count);
    if (pending_.empty() && pending_.capacity() > MOST_KEPT) std::string().swap(pending_);
}

}  // namespace teskd
