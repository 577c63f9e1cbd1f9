#include "telnet/TelnetInputStream.h"

#include <utility>

#include "core/Exception.h"

namespace teskd {

TelnetInputStream::TelnetInputStream(BufferedInputStream& inner, TelnetOptionInterface& interface,
                                     LogSource& log)
    : FilterInputStream(inner), source_(inner), decoder_(interface, log) {}

int TelnetInputStream::read() {
    std::optional<int> data = std::exchange(pushedBack_, std::nullopt);
    while (!data) {
        const int byte = source_.read();
        if (byte == -1) return -1;
        data = decoder_.feed(byte);
    }
    if (marked_) {
        marked_ = !sinceMark_.has_value();  // a second byte invalidates the mark
        sinceMark_ = data;
    }
    return *data;
}

int TelnetInputStream::read(char* buffer, int len) {
    if (len < 1) return 0;
    const int first = read();
    if (first == -1) return -1;
    buffer[0] = static_cast<char>(first);
    int count = 1;
    // Do not block again: the bytes that follow may be commands only, and the caller has data.
    while (count < len && (source_.held() > 0 || source_.available() > 0)) {
        const int run = takeRun(buffer + count, len - count);
        count += run;
        if (run > 0) continue;
        const int byte = source_.read();
        if (byte == -1) break;
        const std::optional<int> data = decoder_.feed(byte);
        if (data) buffer[count++] = static_cast<char>(*data);
    }
    if (count > 1) marked_ = false;
    return count;
}

// Data bytes that are in the source's buffer, up to the next command.
int TelnetInputStream::takeRun(char* buffer, int len) {
    const std::string_view held = source_.view().substr(0, static_cast<std::size_t>(len));
    const std::size_t run = held.copy(buffer, decoder_.leadingData(held));
    source_.advance(static_cast<int>(run));
    return static_cast<int>(run);
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

std::string TelnetInputStream::takeArrived() {
    std::string taken;
    if (pushedBack_) taken.push_back(static_cast<char>(*std::exchange(pushedBack_, std::nullopt)));
    // Bytes that arrive during the loop are left, so that a peer which never pauses cannot keep the
    // caller here.
    for (unsigned arrived = source_.available(); arrived > 0; --arrived) {
        const int byte = source_.read();
        if (byte == -1) break;
        if (const auto data = decoder_.feed(byte)) taken.push_back(static_cast<char>(*data));
    }
    return taken;
}

}  // namespace teskd
