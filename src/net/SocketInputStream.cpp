#include "net/SocketInputStream.h"

#include <algorithm>
#include <cerrno>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

#include "net/Poll.h"
#include "net/SocketError.h"

namespace teskd {

namespace {

constexpr const char* ASSIGNMENT =
    "SocketInputStream& SocketInputStream::operator=(const SocketInputStream&)";

}  // namespace

SocketInputStream::SocketInputStream(int descriptor)
    : descriptor_(duplicateDescriptor(descriptor, ASSIGNMENT)) {}

SocketInputStream::SocketInputStream(const SocketInputStream& source)
    : InputStream(source), timeout_(source.timeout_), interrupt_(source.interrupt_) {
    if (source.descriptor_.isOpen()) *this = source;
}

SocketInputStream& SocketInputStream::operator=(const SocketInputStream& source) {
    if (this == &source) return *this;
    descriptor_.reset();
    descriptor_.reset(duplicateDescriptor(source.descriptor_.get(), ASSIGNMENT));
    return *this;
}

unsigned SocketInputStream::available() {
    int count = 0;
    if (ioctl(descriptor_.get(), FIONREAD, &count) != 0) {
        throwSocketError("virtual unsigned int SocketInputStream::available()");
    }
    return static_cast<unsigned>(count);
}

void SocketInputStream::close() {
    if (descriptor_.close() != 0) throwSocketError("virtual void SocketInputStream::close()");
}

int SocketInputStream::read() {
    waitForData();
    unsigned char byte = 0;
    const ssize_t n = ::read(descriptor_.get(), &byte, 1);
    if (n < 0) throwSocketError("virtual int SocketInputStream::read()");
    return n == 0 ? -1 : byte;
}

int SocketInputStream::read(char* buffer, int len) {
    if (len < 1) return 0;
    waitForData();
    const ssize_t n = ::read(descriptor_.get(), buffer, static_cast<std::size_t>(len));
    if (n < 0) throwSocketError("virtual int SocketInputStream::read(char*, int)");
    return n == 0 ? -1 : static_cast<int>(n);
}

int SocketInputStream::skip(int n) {
    constexpr int LARGEST_BLOCK = 65536;
    std::vector<char> dropped(static_cast<std::size_t>(std::clamp(n, 0, LARGEST_BLOCK)));
    return read(dropped.data(), static_cast<int>(dropped.size()));
}

void SocketInputStream::waitForData() {
    if (timeout_ == 0 && interrupt_ == nullptr) return;
    if (!descriptor_.isOpen()) throwSocketError("void SocketInputStream::wait_for_data()", EBADF);
    const int ready =
        Poll::wait(descriptor_.get(), POLLIN, Deadline::ofTimeout(timeout_), interrupt_);
    if (ready < 0) throwSocketError("void SocketInputStream::wait_for_data()");
    if (ready == 0) throw SocketTimeoutException("void SocketInputStream::wait_for_data()");
}

}  // namespace teskd
