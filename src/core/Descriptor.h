// A file descriptor that belongs to one object.
#pragma once

#include <utility>

namespace teskd {

// Closes its descriptor when it goes, and only once: the system gives a number free whatever close
// answers, and the next one to open something gets it. Movable, not copyable. Threads: as the
// object that holds it.
class Descriptor {
  public:
    Descriptor() = default;
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor() { reset(); }

    bool isOpen() const { return fd_ >= 0; }
    // -1 when there is none.
    int get() const { return fd_; }
    // Closes the present descriptor, whatever close says, and takes the other one.
    void reset(int fd = -1);
    // Closes the descriptor and says what close says: 0, or -1 with errno set. There is none
    // afterwards in either case.
    int close();

  private:
    int fd_ = -1;
};

}  // namespace teskd
