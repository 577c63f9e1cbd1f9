#include "net/TimedInputStream.h"

#include "core/Exception.h"

namespace teskd {

int TimedInputStream::read() {
    applyRemainingTime();
    return inner().read();
}

int TimedInputStream::read(char* buffer, int len) {
    applyRemainingTime();
    return inner().read(buffer, len);
}

int TimedInputStream::skip(int n) {
    applyRemainingTime();
    return inner().skip(n);
}

void TimedInputStream::setTimeout(int milliseconds) {
    budget_ = milliseconds;
    deadline_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    if (milliseconds == 0) inner().setTimeout(0);
}

void TimedInputStream::applyRemainingTime() {
    if (budget_ == 0) return;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline_ - std::chrono::steady_clock::now());
    if (left.count() <= 0) throw SocketTimeoutException("void SocketInputStream::wait_for_data()");
    inner().setTimeout(static_cast<int>(left.count()));
}

}  // namespace teskd
