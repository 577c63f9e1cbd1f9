#include "dorn/SpareDescriptor.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include "net/Poll.h"

namespace teskd {

bool SpareDescriptor::acquire() {
    if (!isHeld()) descriptor_.reset(::eventfd(0, EFD_CLOEXEC));
    return isHeld();
}

bool SpareDescriptor::turnAway(int listener) {
    acquire();
    if (Poll::wait(listener, POLLIN, 0, nullptr) <= 0) return false;
    descriptor_.reset();
    Descriptor connection(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    const bool accepted = connection.isOpen();
    connection.reset();
    acquire();
    return accepted;
}

}  // namespace teskd
