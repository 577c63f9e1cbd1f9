#include "net/InputStream.h"

#include "core/Exception.h"

namespace teskd {

unsigned InputStream::available() {
    return 0;
}

void InputStream::close() {}

int InputStream::read() {
    return -1;
}

int InputStream::read(char* buffer, int len) {
    int count = 0;
    for (; count < len; ++count) {
        const int byte = read();
        if (byte == -1) break;
        buffer[count] = static_cast<char>(byte);
    }
    return count == 0 ? -1 : count;
}

int InputStream::skip(int n) {
    int count = 0;
    while (count < n && read() != -1) ++count;
    return count;
}

void InputStream::mark(int) {}

void InputStream::reset() {
    throw IOException("MARK is not supported by this stream.");
}

bool InputStream::markSupported() {
    return false;
}

void InputStream::setTimeout(int) {}

int InputStream::getTimeout() {
    return 0;
}

int InputStream::readFully(char* buffer, int len) {
    int count = 0;
    while (count < len) {
        const int n = read(buffer + count, len - count);
        if (n < 1) break;
        count += n;
    }
    return count;
}

}  // namespace teskd
