#include "net/BufferedOutputStream.h"

namespace teskd {

void BufferedOutputStream::close() {
    inner().close();
    pending_.clear();
}

void BufferedOutputStream::flush() {
    inner().write(pending_.data(), pending_.size());
    inner().flush();
    pending_.clear();
}

void BufferedOutputStream::write(int b) {
    pending_.push_back(static_cast<char>(b));
}

void BufferedOutputStream::write(const char* buffer, std::size_t len) {
    pending_.append(buffer, len);
}

void BufferedOutputStream::write(const std::string& bytes) {
    pending_.append(bytes);
}

}  // namespace teskd
