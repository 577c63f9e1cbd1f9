#include "core/StandardError.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/BrokenPipe.h"
#include "core/Descriptor.h"

namespace teskd {

namespace {

bool isWhole(ssize_t written, std::string_view line) {
    return written == static_cast<ssize_t>(line.size());
}

// Opens the same pipe or terminal again, as an open file with flags of its own. Not a regular file:
// the new open file would have a position of its own, too, and overwrite what other processes
// write.
Descriptor openAgain(int fd, mode_t mode) {
    if (!S_ISFIFO(mode) && !S_ISCHR(mode)) return Descriptor();
    char path[32];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", fd);
    return Descriptor(::open(path, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

// Whether a pipe takes a whole line without blocking. Not for terminals, which poll reports as
// writable when they have room for a single byte.
bool takesLine(int fd) {
    pollfd entry{fd, POLLOUT, 0};
    return ::poll(&entry, 1, 0) == 1 && (entry.revents & POLLOUT) != 0;
}

}  // namespace

StandardError::StandardError(int fd) : fd_(fd) {
    surviveBrokenPipes();
}

StandardError& StandardError::inherited() {
    static StandardError& instance = *new StandardError(STDERR_FILENO);
    return instance;
}

void StandardError::write(std::string_view head, std::string_view text) {
    const SynchronizedLock lock(lock_);
    if (!reportLost() || !writeLine(head, text)) ++lost_;
}

// True if no dropped line remains to be reported.
bool StandardError::reportLost() {
    if (lost_ == 0) return true;
    char count[96];
    std::snprintf(count, sizeof count, "%lu lines were lost: standard error took none", lost_);
    if (!writeLine({}, count)) return false;
    lost_ = 0;
    return true;
}

bool StandardError::writeLine(std::string_view head, std::string_view text) const {
    char line[PIPE_BUF];
    char* const last = line + sizeof line - 1;
    char* end = std::copy_n(head.begin(), std::min(head.size(), sizeof line - 1), line);
    const auto room = static_cast<std::size_t>(last - end);
    end = std::copy_n(text.begin(), std::min(text.size(), room), end);
    *end++ = '\n';
    return offer({line, static_cast<std::size_t>(end - line)});
}

bool StandardError::offer(std::string_view line) const {
    const int fd = fd_;
    struct stat kind {};
    if (::fstat(fd, &kind) != 0) return false;
    if (S_ISSOCK(kind.st_mode)) {
        constexpr int FLAGS = MSG_DONTWAIT | MSG_NOSIGNAL;
        return isWhole(::send(fd, line.data(), line.size(), FLAGS), line);
    }
    const Descriptor own = openAgain(fd, kind.st_mode);
    if (own.isOpen()) return isWhole(::write(own.get(), line.data(), line.size()), line);
    if (S_ISCHR(kind.st_mode)) return false;
    return takesLine(fd) && isWhole(::write(fd, line.data(), line.size()), line);
}

}  // namespace teskd
