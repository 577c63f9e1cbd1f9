#include "telnet/TelnetInputStream.h"

#include <utility>

#include "core/Exception.h"

namespace teskd {

TelnetInputStream::TelnetInputStream(BufferedInputStream& inner, TelnetOptionInterface& interface)
    : FilterInputStream(inner), source_(inner), decoder_(interface) {}

int TelnetInputStream::read() {
    std::optional<int> data = std::exchange(pushedBack_, std::nullopt);
    while (!data) {
        const int byte = source_.read();
        if (byte == -1) return -1;
        data = decoder_.feed(byte);
    }
    if (marked_) {
        marked_ = !sinceMark_.has_value();  // a second byte is beyond the mark
        sinceMark_ = data;
    }
    return *data;
}

int TelnetInputStream::read(char* buffer, int len) {
    int count = 0;
    while (count < len) {
        const int byte = read();
        if (byte == -1) break;
        buffer[count++] = static_cast<char>(byte);
        if (source_.held() == 0 && source_.available() == 0) break;
    }
    return count == 0 && len > 0 ? -1 : count;
}

unsigned TelnetInputStream::available() {
    return source_.available() + (pushedBack_.has_value() ? 1U : 0U);
}

void TelnetInputStream::mark(int) {
    marked_ = true;
    sinceMark_.reset();
}

void TelnetInputStream::reset() {
    if (!marked_) {
        throw IOException("This stream has not been marked or the mark has been invalidated.");
    }
    marked_ = false;
    if (sinceMark_) pushedBack_ = std::exchange(sinceMark_, std::nullopt);
}

int TelnetInputStream::skipArrived() {
    int dropped = std::exchange(pushedBack_, std::nullopt).has_value() ? 1 : 0;
    while (source_.available() > 0) {
        if (decoder_.feed(source_.read()).has_value()) ++dropped;
    }
    return dropped;
}

}  // namespace teskd
