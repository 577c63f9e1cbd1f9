#include "core/SystemLog.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <string_view>
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

// The current second in local time, and a blank. Each thread caches its last one, since many lines
// have the same.
std::string_view stamp() {
    thread_local std::time_t second = -1;
    thread_local char text[32];
    thread_local std::size_t size = 0;
    const std::time_t now = std::time(nullptr);
    if (now == second) return {text, size};
    std::tm local{};
    localtime_r(&now, &local);
    size = std::strftime(text, sizeof text, "%b %e %H:%M:%S ", &local);
    second = now;
    return {text, size};
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
    const WriteLock lock(lock_);
    copies_ = copies;
    connect();
    tag_ = makeTag(identity);
}

void SystemLog::close() {
    const WriteLock lock(lock_);
    socket_.reset();
}

void SystemLog::write(int priority, const char* text) {
    if (offer(priority, text)) return;
    const WriteLock lock(lock_);
    if (copies_) copyToStandardError(priority, text);
    if (!report_lost() || !deliver(priority, text)) ++lost_;
}

// The usual case: sends the line under the shared lock, without waiting. False if the log did not
// take it at once, or if something else must be done first (connect, copy the line, report lost
// lines). A stream is not shared, since its records must be written one after the other.
bool SystemLog::offer(int priority, const char* text) {
    const ReadLock lock(lock_);
    if (!socket_.isOpen() || stream_ || copies_ || lost_ != 0) return false;
    return sendOnce(heading(priority), text, MSG_DONTWAIT);
}

// True if no lost line remains to be reported.
bool SystemLog::report_lost() {
    if (lost_ == 0) return true;
    char text[96];
    std::snprintf(text, sizeof text, "%lu lines were lost: the system log took none", lost_);
    if (!deliver(LOST_PRIORITY, text)) return false;
    lost_ = 0;
    return true;
}

bool SystemLog::deliver(int priority, const char* text) {
    const Heading head = heading(priority);
    if (!socket_.isOpen() && !connect()) return false;
    if (send(head, text)) return true;
    if (isFull(errno)) return false;
    socket_.reset();  // the log is gone; a new one may have replaced it
    return connect() && send(head, text);
}

SystemLog::Heading SystemLog::heading(int priority) const {
    Heading head;
    const std::string_view second = stamp();
    char* end = head.bytes;
    *end++ = '<';
    end = std::to_chars(end, std::end(head.bytes), priority).ptr;
    *end++ = '>';
    end = std::copy(second.begin(), second.end(), end);
    head.tag = static_cast<std::size_t>(end - head.bytes);
    end = std::copy(tag_.begin(), tag_.end(), end);
    head.size = static_cast<std::size_t>(end - head.bytes);
    return head;
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
    const Clock::time_point now = Clock::now();
    if (now - period_ >= PERIOD) {
        period_ = now;
        waited_ = {};
    }
    return waited_ < MOST_WAITING;
}

void SystemLog::countWait(Clock::time_point since, bool inVain) {
    waited_ = inVain ? MOST_WAITING : waited_ + (Clock::now() - since);
}

bool SystemLog::sendOnce(const Heading& heading, const char* text, int flags) {
    const std::size_t size = std::min(std::strlen(text), LONGEST_TEXT);
    iovec parts[] = {part(heading.bytes, heading.size), part(text, size),
                     part("", stream_ ? 1 : 0)};
    msghdr record{};
    record.msg_iov = parts;
    record.msg_iovlen = 3;
    const ssize_t sent = sendmsg(socket_.get(), &record, flags | MSG_NOSIGNAL);
    if (sent < 0) return false;
    if (static_cast<std::size_t>(sent) == heading.size + size + parts[2].iov_len) return true;
    errno = EPIPE;
    return false;
}

void SystemLog::copyToStandardError(int priority, const char* text) {
    const Heading head = heading(priority);
    StandardError::inherited().write({head.bytes + head.tag, head.size - head.tag}, text);
}

}  // namespace teskd
