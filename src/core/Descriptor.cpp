#include "core/Descriptor.h"

#include <unistd.h>

namespace teskd {

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) reset(std::exchange(other.fd_, -1));
    return *this;
}

void Descriptor::reset(int fd) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
}

int Descriptor::close() {
    const int result = ::close(fd_);
    if (result == 0) fd_ = -1;
    return result;
}

}  // namespace teskd
