#include "support/LogSocket.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <linux/filter.h>
#include <poll.h>
#include <regex>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <utility>

namespace teskd::test {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

bool contains(const LogLine& line, const std::string& part) {
    return line.text.find(part) != std::string::npos;
}

UniqueFd bindTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        fail(path);
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    UniqueFd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!fd.valid()) fail("socket");
    if (::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail(path);
    }
    ::chmod(path.c_str(), 0666);
    return fd;
}

}  // namespace

LogSocket::LogSocket(std::filesystem::path path)
    : path_(std::move(path)),
      socket_(bindTo(path_.string())),
      wake_(::eventfd(0, EFD_CLOEXEC)),
      thread_(&LogSocket::collect, this) {}

LogSocket::~LogSocket() {
    ending_ = true;
    ::eventfd_write(wake_.get(), 1);
    thread_.join();
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

void LogSocket::collect() {
    pollfd fds[] = {{socket_.get(), POLLIN, 0}, {wake_.get(), POLLIN, 0}};
    std::string buffer(65536, '\0');
    while (!ending_) {
        fds[0].events = paused_ ? 0 : POLLIN;
        if (::poll(fds, 2, -1) < 0) continue;
        eventfd_t woken = 0;
        if (fds[1].revents != 0) ::eventfd_read(wake_.get(), &woken);
        if (paused_) continue;
        const ssize_t count = ::recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (count >= 0) add(std::string_view(buffer).substr(0, static_cast<std::size_t>(count)));
    }
}

void LogSocket::discard() {
    sock_filter takeNothing{BPF_RET | BPF_K, 0, 0, 0};
    const sock_fprog program{1, &takeNothing};
    if (::setsockopt(socket_.get(), SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) != 0) {
        fail("SO_ATTACH_FILTER");
    }
}

void LogSocket::setPaused(bool paused) {
    paused_ = paused;
    ::eventfd_write(wake_.get(), 1);
}

void LogSocket::add(std::string_view datagram) {
    LogLine unknown;
    unknown.priority = -1;
    unknown.text = datagram;
    {
        const std::lock_guard lock(mutex_);
        lines_.push_back(parseLogLine(datagram).value_or(unknown));
    }
    arrived_.notify_all();
}

std::vector<LogLine> LogSocket::lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
}

std::size_t LogSocket::count(const std::string& part) const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count_if(
        lines_.begin(), lines_.end(), [&](const LogLine& line) { return contains(line, part); }));
}

std::string LogSocket::dump() const {
    std::string result;
    for (const LogLine& line : lines()) {
        result += "<" + std::to_string(line.priority) + "> " + line.text + "\n";
    }
    return result;
}

void LogSocket::clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
}

std::vector<LogLine> LogSocket::take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(lines_, {});
}

std::optional<LogLine> LogSocket::waitForLine(const Predicate& predicate, Deadline deadline) {
    std::optional<LogLine> result;
    std::unique_lock lock(mutex_);
    arrived_.wait_until(lock, deadline.at(), [&] {
        const auto found = std::find_if(lines_.begin(), lines_.end(), predicate);
        if (found != lines_.end()) result = *found;
        return result.has_value();
    });
    return result;
}

std::optional<LogLine> LogSocket::waitFor(const std::string& part, Deadline deadline) {
    return waitForLine([&](const LogLine& line) { return contains(line, part); }, deadline);
}

std::optional<LogLine> LogSocket::waitForMatch(const std::string& pattern, Deadline deadline) {
    const std::regex expression(pattern);
    return waitForLine(
        [&](const LogLine& line) { return std::regex_search(line.text, expression); }, deadline);
}

bool LogSocket::waitForCount(const std::string& part, std::size_t times, Deadline deadline) {
    std::unique_lock lock(mutex_);
    return arrived_.wait_until(lock, deadline.at(), [&] {
        const auto wanted = [&](const LogLine& line) { return contains(line, part); };
        const auto count = std::count_if(lines_.begin(), lines_.end(), wanted);
        return static_cast<std::size_t>(count) >= times;
    });
}

}  // namespace teskd::test
