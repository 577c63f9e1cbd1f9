// A file descriptor that is closed with its object.
//
// Ownership: the object owns the descriptor. Threads: one user at a time. Errors: nothing throws.

#pragma once

#include <unistd.h>
#include <utility>

namespace teskhost {

class Descriptor {
  public:
    explicit Descriptor(int fd = -1) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }

    int get() const { return fd_; }
    bool valid() const { return fd_ >= 0; }

  private:
    int fd_;
};

}  // namespace teskhost
