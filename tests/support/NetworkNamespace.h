// A network of the test's own: its loopback, its links and addresses, which nobody else has.
//
// Whoever is inside makes sockets, threads and processes that belong to that network for good;
// sockets made outside stay outside. So a test has the daemon in one, its hosts in another, and
// pulls the cable in between.
//
// Without root the whole process becomes root in a user namespace, of which the machine notices
// nothing. That works only while the process has one thread: make the first NetworkNamespace
// before anything that starts threads.
//
// Ownership: the object keeps the network alive, as do sockets and processes in it. Links end with
// it. It outlives its stays.
// Threads: every operation from any; a Stay concerns the thread that makes it.
// Errors: std::runtime_error, with a text that says what to do, when the system allows no network
// namespaces; the same with the text of ip(8) when that refuses something.

#pragma once

#include <string>
#include <vector>

#include "support/UniqueFd.h"

namespace teskd::test {

class NetworkNamespace {
  public:
    // With loopback up, and no other link.
    NetworkNamespace();
    NetworkNamespace(const NetworkNamespace&) = delete;
    NetworkNamespace& operator=(const NetworkNamespace&) = delete;

    // While it lives, its thread is inside. Stays of one thread may be nested.
    class Stay {
      public:
        explicit Stay(const NetworkNamespace& where);
        ~Stay();
        Stay(const Stay&) = delete;
        Stay& operator=(const Stay&) = delete;

      private:
        UniqueFd before_;
    };

    // Calls the function inside.
    template <class Function>
    auto in(Function function) const {
        const Stay stay(*this);
        return function();
    }

    // A link that is up, with nobody at its far end; that end is called "far-" and the name.
    void addLink(const std::string& link) const;
    // A cable from a link here to one of the other network, both up.
    void addCable(const std::string& link, const NetworkNamespace& other,
                  const std::string& otherLink) const;
    // Address and length of the network's part: "10.1.0.1/24".
    void addAddress(const std::string& link, const std::string& address) const;
    void removeAddress(const std::string& link, const std::string& address) const;
    // Down, a link's far end has no carrier, and what comes there is lost.
    void takeDown(const std::string& link) const;
    void bringUp(const std::string& link) const;
    // Any other command of ip(8): {"route", "add", "default", "via", "10.1.0.2"}.
    void ip(std::vector<std::string> words) const;

  private:
    std::string file() const;

    UniqueFd fd_;
};

}  // namespace teskd::test
