// The page about the protocols, played with a real daemon: what others send there is sent, and what
// the gateway sends there is compared.
//
// Ownership: the object owns the daemon and all sockets around it.
// Threads: one user at a time. Errors: what does not come throws Timeout.

#pragma once

#include <list>
#include <memory>
#include <string>

#include "docs/AnnotatedBytes.h"
#include "gateway/Gateway.h"
#include "support/Connection.h"
#include "support/Listener.h"

namespace teskd::test {

class PageDialogue {
  public:
    // The page's settings, an INI file.
    explicit PageDialogue(const std::string& settings);

    void play(const AnnotatedBytes& block);
    DaemonProcess& daemon() { return gateway_.daemon(); }

  private:
    void send(const AnnotatedBytes& block);
    std::string receive(const AnnotatedBytes& block);
    std::string receiveFrame();
    std::string receiveNotification(const AnnotatedBytes& expected);
    void reply(std::string frame);
    // Connects at its first use: the daemon waits a second for its line, so nobody waits for it to
    // listen first.
    HostClient& host();

    Listener serialPort_;
    Gateway gateway_;
    Connection machine_;
    std::unique_ptr<HostClient> host_;
    std::list<std::string> notifications_;  // that were not asked for yet
    std::string lastNotification_;
};

}  // namespace teskd::test
