#include "dorn/SpareDescriptor.h"

#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include "net/Poll.h"

namespace teskd {

namespace {

bool acceptAndClose(int listener) {
    return Descriptor(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)).isOpen();
}

}  // namespace

bool SpareDescriptor::acquire() {
    if (!isHeld()) descriptor_.reset(::eventfd(0, EFD_CLOEXEC));
    return isHeld();
}

bool SpareDescriptor::turnAway(int listener) {
    acquire();
    if (Poll::wait(listener, POLLIN, Deadline::passed(), nullptr) <= 0) return false;
    if (acceptAndClose(listener)) return true;
    if (errno != EMFILE && errno != ENFILE) return false;
    descriptor_.reset();
    const bool accepted = acceptAndClose(listener);
    acquire();
    return accepted;
}

}  // namespace teskd
