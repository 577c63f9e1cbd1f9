#include "net/OutputStream.h"

namespace teskd {

void OutputStream::close() {}

void OutputStream::flush() {}

void OutputStream::write(int) {}

void OutputStream::write(const char* buffer, std::size_t len) {
    for (std::size_t i = 0; i < len; ++i) write(static_cast<unsigned char>(buffer[i]));
}

void OutputStream::write(const std::string& bytes) {
    write(bytes.data(), bytes.size());
}

bool OutputStream::flushAvailable() {
    flush();
    return true;
}

}  // namespace teskd
