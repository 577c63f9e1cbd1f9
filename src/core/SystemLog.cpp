#include "core/SystemLog.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "core/StandardError.h"
#include "core/Text.h"

namespace teskd {

namespace {

constexpr int LOST_PRIORITY = LOG_LOCAL6 | LOG_WARNING;

iovec part(const char* bytes, std::size_t size) {
    return {const_cast<char*>(bytes), size};  // sendmsg only reads it
}

std::string makeTag(const char* identity) {
    return text::format("%.400s[%ld]: ", identity, static_cast<long>(getpid()));
}

bool isFull(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == ENOBUFS;
}

}  // namespace

SystemLog::SystemLog(const char* path)
    : path_(path), tag_(makeTag(program_invocation_short_name)) {}

void SystemLog::open(const char* identity, bool copies) {
    const SynchronizedLock lock(lock_);
    copies_ = copies;
    connect();
    tag_ = makeTag(identity);
}

void SystemLog::close() {
    const SynchronizedLock lock(lock_);
    socket_.reset();
}

void SystemLog::write(int priority, const char* text) {
    const SynchronizedLock lock(lock_);
    if (copies_) StandardError::inherited().write(tag_, text);
    if (!reportLost() || !deliver(priority, text)) ++lost_;
}

bool SystemLog::reportLost() {
    if (lost_ == 0) return true;
    char text[96];
    std::snprintf(text, sizeof text, "%lu lines were lost: the system log took none", lost_);
    if (!deliver(LOST_PRIORITY, text)) return false;
    lost_ = 0;
    return true;
}

bool SystemLog::deliver(int priority, const char* text) {
    const Heading head(priority);
    if (!socket_.isOpen() && !connect()) return false;
    if (send(head, text)) return true;
    if (isFull(errno)) return false;
    socket_.reset();  // the log is gone; a new one may have replaced it
    return connect() && send(head, text);
}

SystemLog::Heading::Heading(int priority) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    const int start = std::snprintf(bytes, sizeof bytes, "<%d>", priority);
    size = static_cast<std::size_t>(start);
    size += std::strftime(bytes + size, sizeof bytes - size, "%b %e %H:%M:%S ", &local);
}

// Connecting to a stream may block on its listener, so it counts as waiting.
bool SystemLog::connect() {
    if (connectAs(SOCK_DGRAM)) return true;
    if (errno != EPROTOTYPE || !mayWait()) return false;
    const Clock::time_point start = Clock::now();
    const bool connected = connectAs(SOCK_STREAM);
    countWait(start, !connected && isFull(errno));
    return connected;
}

bool SystemLog::connectAs(int type) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path_, sizeof address.sun_path - 1);
    constexpr timeval LIMIT{0, std::chrono::microseconds(PATIENCE).count()};
    socket_.reset(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
    stream_ = type == SOCK_STREAM;
    const bool connected =
        socket_.isOpen() &&
        setsockopt(socket_.get(), SOL_SOCKET, SO_SNDTIMEO, &LIMIT, sizeof LIMIT) == 0 &&
        ::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    if (connected) return true;
    const int error = errno;
    socket_.reset();
    errno = error;
    return false;
}

bool SystemLog::send(const Heading& heading, const char* text) {
    if (sendOnce(heading, text, MSG_DONTWAIT)) return true;
    if (!isFull(errno) || !mayWait()) return false;
    const Clock::time_point start = Clock::now();
    const bool sent = sendOnce(heading, text, 0);
    const int error = errno;
    countWait(start, !sent && isFull(error));
    errno = error;
    return sent;
}

bool SystemLog::mayWait() {
    if (periodEnd_.hasPassed()) {
        periodEnd_ = Deadline::after(PERIOD);
        waited_ = {};
    }
    return waited_ < MOST_WAITING;
}

void SystemLog::countWait(Clock::time_point since, bool inVain) {
    waited_ = inVain ? MOST_WAITING : waited_ + (Clock::now() - since);
}

bool SystemLog::sendOnce(const Heading& heading, const char* text, int flags) {
    const std::size_t size = std::min(std::strlen(text), LONGEST_TEXT);
    iovec parts[] = {part(heading.bytes, heading.size), part(tag_.data(), tag_.size()),
                     part(text, size), part("", stream_ ? 1 : 0)};
    msghdr record{};
    record.msg_iov = parts;
    record.msg_iovlen = std::size(parts);
    const ssize_t sent = sendmsg(socket_.get(), &record, flags | MSG_NOSIGNAL);
    if (sent < 0) return false;
    const std::size_t whole = heading.size + tag_.size() + size + (stream_ ? 1 : 0);
    if (static_cast<std::size_t>(sent) == whole) return true;
    errno = EPIPE;
    return false;
}

}  // namespace teskd
