#include "tesk/ReplayedInputStream.h"

namespace teskd {

int ReplayedInputStream::read() {
    if (bytes_.empty()) return FilterInputStream::read();
    char byte = 0;
    return read(&byte, 1) < 1 ? -1 : static_cast<unsigned char>(byte);
}

int ReplayedInputStream::read(char* buffer, int len) {
    if (bytes_.empty()) return FilterInputStream::read(buffer, len);
    const std::size_t count = bytes_.copy(buffer, static_cast<std::size_t>(len));
    bytes_.erase(0, count);
    return static_cast<int>(count);
}

}  // namespace teskd
