#include "net/SocketOutputStream.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

#include "net/Poll.h"
#include "net/SocketError.h"

namespace teskd {

namespace {

constexpr const char* ASSIGNMENT =
    "SocketOutputStream& SocketOutputStream::operator=(const SocketOutputStream&)";
constexpr const char* WRITE_BLOCK = "virtual void SocketOutputStream::write(const char*, size_t)";

}  // namespace

SocketOutputStream::SocketOutputStream(int descriptor)
    : descriptor_(duplicateDescriptor(descriptor, ASSIGNMENT)) {}

SocketOutputStream::SocketOutputStream(const SocketOutputStream& source)
    : OutputStream(source),
      timeout_(source.timeout_),
      deadline_(source.deadline_),
      interrupt_(source.interrupt_) {
    if (source.descriptor_.isOpen()) *this = source;
}

SocketOutputStream& SocketOutputStream::operator=(const SocketOutputStream& source) {
    if (this == &source) return *this;
    descriptor_.reset();
    descriptor_.reset(duplicateDescriptor(source.descriptor_.get(), ASSIGNMENT));
    return *this;
}

void SocketOutputStream::close() {
    if (descriptor_.close() != 0) throwSocketError("virtual void SocketOutputStream::close()");
}

void SocketOutputStream::write(int b) {
    const char byte = static_cast<char>(b);
    writeAll(&byte, 1, "virtual void SocketOutputStream::write(int)");
}

void SocketOutputStream::write(const char* buffer, std::size_t len) {
    writeAll(buffer, len, WRITE_BLOCK);
}

std::size_t SocketOutputStream::writeAvailable(const char* buffer, std::size_t len) {
    return writeSome(buffer, len, WRITE_BLOCK);
}

void SocketOutputStream::writeAll(const char* buffer, std::size_t len, const char* signature) {
    if (deadline_.hasPassed()) throwSocketError(signature, ETIMEDOUT);
    const Deadline end = std::min(deadline_, Deadline::ofTimeout(timeout_));
    std::size_t done = 0;
    while (done < len) {
        const std::size_t n = writeSome(buffer + done, len - done, signature);
        done += n;
        if (n > 0) continue;
        if (end.hasPassed()) throwSocketError(signature, ETIMEDOUT);
        if (Poll::wait(descriptor_.get(), POLLOUT, end, interrupt_) < 0)
            throwSocketError(signature);
    }
}

std::size_t SocketOutputStream::writeSome(const char* buffer, std::size_t len,
                                          const char* signature) {
    const ssize_t n = ::send(descriptor_.get(), buffer, len, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (n > 0) return static_cast<std::size_t>(n);
    if (n == 0) throw SocketException(std::string(signature) + "Nothing was written");
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) return 0;
    if (errno == EPIPE) throw SocketConnectionClosedException("SocketConnectionClosedException");
    throwSocketError(signature);
}

}  // namespace teskd
