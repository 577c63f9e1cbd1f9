#include "core/Descriptor.h"

#include <unistd.h>

namespace teskd {

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) reset(std::exchange(other.fd_, -1));
    return *this;
}

void Descriptor::reset(int fd) {
    const int old = std::exchange(fd_, fd);
    if (old >= 0) ::close(old);
}

int Descriptor::close() {
    return ::close(std::exchange(fd_, -1));
}

}  // namespace teskd
