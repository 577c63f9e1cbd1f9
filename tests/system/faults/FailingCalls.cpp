// Linked into a daemon, lets its calls of the system fail where the fault page says so. The linker
// leads every call that the daemon's own code makes here (-Wl,--wrap); those of libraries go their
// usual way, but for the allocations of the C++ library, which are the daemon's in effect.

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <execinfo.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "faults/FaultPage.h"
#include "support_src/ReplacedNew.h"

// The linker's names for "instead of f" and "f itself".
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
int __real_socket(int, int, int);
int __real_accept4(int, sockaddr*, socklen_t*, int);
int __real_fcntl(int, int, ...);
int __real_pipe2(int*, int);
int __real_eventfd(unsigned, int);
int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
ssize_t __real_read(int, void*, size_t);
ssize_t __real_send(int, const void*, size_t, int);
ssize_t __real_write(int, const void*, size_t);
int __real_poll(pollfd*, nfds_t, int);
int __real_connect(int, const sockaddr*, socklen_t);
int __real_bind(int, const sockaddr*, socklen_t);
int __real_listen(int, int);
int __real_setsockopt(int, int, int, const void*, socklen_t);
int __real_getsockopt(int, int, int, void*, socklen_t*);
int __real_ioctl(int, unsigned long, ...);
int __real_open(const char*, int, ...);
int __real_fsync(int);
}

extern const char __executable_start;

namespace {

using teskd::test::Call;
using teskd::test::FaultPage;

std::atomic<FaultPage*> mappedPage{nullptr};
FaultPage nowhere;

FaultPage* map() {
    const char* const root = std::getenv("TESKD_ROOT");
    if (root == nullptr) return &nowhere;
    char path[4096];
    std::snprintf(path, sizeof path, "%s/%s", root, FaultPage::kName);
    const int fd = __real_open(path, O_RDWR | O_CLOEXEC);
    if (fd < 0) return &nowhere;
    void* const memory =
        mmap(nullptr, sizeof(FaultPage), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    return memory == MAP_FAILED ? &nowhere : static_cast<FaultPage*>(memory);
}

// Without a lock: two threads that come first at once map it twice, which does no harm.
FaultPage& page() {
    FaultPage* present = mappedPage;
    if (present == nullptr) {
        present = map();
        mappedPage = present;
    }
    return *present;
}

void recordPlace(FaultPage& to) {
    constexpr int SKIPPED = 2;  // here and its caller
    void* frames[FaultPage::kDepth + SKIPPED] = {};
    const int depth = backtrace(frames, static_cast<int>(FaultPage::kDepth) + SKIPPED);
    const auto start = reinterpret_cast<std::uintptr_t>(&__executable_start);
    for (int i = 0; i < static_cast<int>(FaultPage::kDepth); ++i) {
        const bool known = i + SKIPPED < depth;
        to.where[static_cast<std::size_t>(i)] =
            known ? reinterpret_cast<std::uintptr_t>(frames[i + SKIPPED]) - start : 0;
    }
}

bool fails(Call call) {
    FaultPage& orders = page();
    if (orders.call != call) return false;
    const std::uint64_t number = ++orders.calls;
    const std::uint64_t first = orders.first;
    if (number < first || number - first >= orders.count) return false;
    recordPlace(orders);
    ++orders.failed;
    errno = orders.error;
    return true;
}

// What is read and written besides sockets cannot lose a connection: events are interrupted, files
// are on a broken disk.
int errorFor(int fd) {
    struct stat status {};
    fstat(fd, &status);
    if (S_ISSOCK(status.st_mode)) return page().error;
    return S_ISREG(status.st_mode) ? EIO : EINTR;
}

bool failsOn(Call call, int fd) {
    if (!fails(call)) return false;
    errno = errorFor(fd);
    return true;
}

}  // namespace

bool teskd::test::allocationFails() noexcept {
    return fails(Call::allocation);
}

extern "C" {

int __wrap_socket(int domain, int type, int protocol) {
    return fails(Call::socket) ? -1 : __real_socket(domain, type, protocol);
}

int __wrap_accept4(int fd, sockaddr* address, socklen_t* size, int flags) {
    return fails(Call::accept) ? -1 : __real_accept4(fd, address, size, flags);
}

int __wrap_fcntl(int fd, int command, ...) {
    std::va_list arguments;
    va_start(arguments, command);
    const long argument = va_arg(arguments, long);
    va_end(arguments);
    if (command == F_DUPFD_CLOEXEC && fails(Call::duplicate)) return -1;
    return __real_fcntl(fd, command, argument);
}

int __wrap_pipe2(int* ends, int flags) {
    return fails(Call::event) ? -1 : __real_pipe2(ends, flags);
}

int __wrap_eventfd(unsigned value, int flags) {
    return fails(Call::event) ? -1 : __real_eventfd(value, flags);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*entry)(void*), void* argument) {
    if (fails(Call::thread)) return errno;
    return __real_pthread_create(thread, attributes, entry, argument);
}

ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    return failsOn(Call::read, fd) ? -1 : __real_read(fd, buffer, size);
}

ssize_t __wrap_send(int fd, const void* buffer, size_t size, int flags) {
    return fails(Call::send) ? -1 : __real_send(fd, buffer, size, flags);
}

ssize_t __wrap_write(int fd, const void* buffer, size_t size) {
    return failsOn(Call::write, fd) ? -1 : __real_write(fd, buffer, size);
}

int __wrap_poll(pollfd* entries, nfds_t count, int timeout) {
    return fails(Call::poll) ? -1 : __real_poll(entries, count, timeout);
}

int __wrap_connect(int fd, const sockaddr* address, socklen_t size) {
    return fails(Call::connect) ? -1 : __real_connect(fd, address, size);
}

int __wrap_bind(int fd, const sockaddr* address, socklen_t size) {
    return fails(Call::bind) ? -1 : __real_bind(fd, address, size);
}

int __wrap_listen(int fd, int backlog) {
    return fails(Call::listen) ? -1 : __real_listen(fd, backlog);
}

int __wrap_setsockopt(int fd, int level, int name, const void* value, socklen_t size) {
    return fails(Call::setOption) ? -1 : __real_setsockopt(fd, level, name, value, size);
}

int __wrap_getsockopt(int fd, int level, int name, void* value, socklen_t* size) {
    return fails(Call::getOption) ? -1 : __real_getsockopt(fd, level, name, value, size);
}

int __wrap_ioctl(int fd, unsigned long request, ...) {
    std::va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return fails(Call::available) ? -1 : __real_ioctl(fd, request, argument);
}

int __wrap_open(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return fails(Call::open) ? -1 : __real_open(path, flags, mode);
}

int __wrap_fsync(int fd) {
    return fails(Call::sync) ? -1 : __real_fsync(fd);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}
