// A file descriptor that is owned by one object.
#pragma once

#include <utility>

namespace teskd {

// Closes its descriptor on destruction, and exactly once: even a close that fails frees the number,
// and a second close would hit whatever has been opened under that number since. Movable, not
// copyable. Threads: as the object that holds it.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor() { reset(); }

    bool isOpen() const { return fd_ >= 0; }
    // -1 if there is none.
    int get() const { return fd_; }
    // Closes the current descriptor, ignoring errors, and takes ownership of the other one.
    void reset(int fd = -1);
    // Closes the descriptor and returns the result of close: 0, or -1 with errno set. In both cases
    // none is held afterwards.
    int close();

  private:
    int fd_ = -1;
};

}  // namespace teskd
