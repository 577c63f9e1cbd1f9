// The networks of a soak: one for the daemon, its machines and its hosts, another one for the
// notification server, and a cable between them whose links and addresses change.
//
// Ownership: the object owns both. Its maker's thread, and all threads that it starts, are in the
// daemon's network for as long as the object lives. Threads: the trouble from one thread at a time.
// Errors: as NetworkNamespace.

#pragma once

#include <string>

#include "support/NetworkNamespace.h"
#include "support/UdpPeer.h"

namespace teskd::soak {

class Network {
  public:
    static constexpr char kServer[] = "10.77.0.1";

    Network();

    // A port of the server's host.
    test::UdpPeer peer(std::uint16_t port = 0) const;
    // The daemon's side of the cable.
    void unplug() const { gateway_.takeDown(kLink); }
    void plugIn() const { gateway_.bringUp(kLink); }
    void dropAddress() const { gateway_.removeAddress(kLink, address()); }
    void takeNextAddress();

  private:
    static constexpr char kLink[] = "eth0";
    static constexpr char kFarLink[] = "eth1";

    std::string address() const;

    test::NetworkNamespace gateway_;
    test::NetworkNamespace server_;
    test::NetworkNamespace::Stay stay_{gateway_};
    int last_ = 2;  // number of the present address
};

}  // namespace teskd::soak
