// A network namespace of the test, with its own loopback, links and addresses.
//
// Sockets, threads and processes belong for ever to the namespace in which they are created. So a
// test can have the daemon in one, its hosts in another, and disconnect them.
//
// Without root, the whole process becomes root in a user namespace, with no effect on the machine.
// That is possible only while the process has one thread: create the first NetworkNamespace before
// any thread.
//
// Ownership: the namespace exists as long as the object, or sockets and processes in it. The
// destructor removes its links. The object must outlive its stays.
// Threads: every operation may be called from any thread; a Stay affects the thread that creates
// it. Errors: std::runtime_error if the system allows no network namespaces, with what to do then,
// or if ip(8) fails, with its text.

#pragma once

#include <string>
#include <vector>

#include "support/UniqueFd.h"

namespace teskd::test {

class NetworkNamespace {
  public:
    // Creates the namespace with loopback up and no other link.
    NetworkNamespace();
    NetworkNamespace(const NetworkNamespace&) = delete;
    NetworkNamespace& operator=(const NetworkNamespace&) = delete;

    // During its lifetime its thread is in the namespace. Stays of one thread may be nested.
    class Stay {
      public:
        explicit Stay(const NetworkNamespace& where);
        ~Stay();
        Stay(const Stay&) = delete;
        Stay& operator=(const Stay&) = delete;

      private:
        UniqueFd before_;
    };

    // Calls the function in the namespace.
    template <class Function>
    auto in(Function function) const {
        const Stay stay(*this);
        return function();
    }

    // Adds a link that is up. Nothing listens at its other end, which is named "far-" and the name.
    void addLink(const std::string& link) const;
    // Connects a new link of this namespace with one of another; both are up.
    void addCable(const std::string& link, const NetworkNamespace& other,
                  const std::string& otherLink) const;
    // `address`: with its prefix length, "10.1.0.1/24".
    void addAddress(const std::string& link, const std::string& address) const;
    void removeAddress(const std::string& link, const std::string& address) const;
    // While a link is down, its other end has no carrier, and packets to it are lost.
    void takeDown(const std::string& link) const;
    void bringUp(const std::string& link) const;
    // Any other command of ip(8): {"route", "add", "default", "via", "10.1.0.2"}.
    void ip(std::vector<std::string> words) const;

  private:
    std::string file() const;

    UniqueFd fd_;
};

}  // namespace teskd::test
