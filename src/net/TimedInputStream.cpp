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
    deadline_ = Deadline::ofTimeout(milliseconds);
    if (milliseconds == 0) inner().setTimeout(0);
}

void TimedInputStream::applyRemainingTime() {
    if (budget_ == 0) return;
    const int left = deadline_.pollTimeout();
    if (left == 0) throw SocketTimeoutException("void SocketInputStream::wait_for_data()");
    inner().setTimeout(left);
}

}  // namespace teskd
