#include "net/SendsNothing.h"

#include <atomic>
#include <sys/socket.h>
#include <sys/types.h>

namespace {

std::atomic<bool> sendsNothing{false};

}  // namespace

// The linker's names for "instead of send" and "send itself".
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
ssize_t __real_send(int fd, const void* data, size_t size, int flags);
ssize_t __wrap_send(int fd, const void* data, size_t size, int flags) {
    return sendsNothing.exchange(false) ? 0 : __real_send(fd, data, size, flags);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}

namespace teskd::test {

SendsNothing::SendsNothing() {
    sendsNothing = true;
}

SendsNothing::~SendsNothing() {
    sendsNothing = false;
}

}  // namespace teskd::test
