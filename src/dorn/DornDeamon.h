// The listener for host connections.
#pragma once

#include <list>
#include <memory>
#include <string>

#include "core/StopEvent.h"
#include "core/Thread.h"
#include "dorn/ConnectionCount.h"

namespace teskd {

class Aams;
class Socket;
class StreamServerSocket;
class TeskController;

// A thread that listens on the configured local endpoints and starts a Dorn for every connection.
//
// Owner: the application objects; the controller and the engine outlive it. Keeps no list of the
// connections it started, only their count.
// Threads: run on its own; await_connections by the owner.
class DornDeamon : public Thread {
  public:
    DornDeamon(TeskController& controller, Aams& engine);
    // Stops everything and waits for it.
    ~DornDeamon() noexcept(false) override;

    void run() override;

    // After stop(): waits until every connection has ended.
    void await_connections() { connections_.awaitNone(); }

  protected:
    void interrupt() override { stopEvent_.set(); }

  private:
    // A local address to listen on.
    struct Endpoint {
        std::string address;
        std::unique_ptr<StreamServerSocket> socket;  // null while the address cannot be bound
        std::string problem;                         // why, as it was logged last
    };

    static void open_endpoints(std::list<Endpoint>& endpoints);
    static void open(Endpoint& endpoint);
    void serve(std::list<Endpoint>& endpoints);
    void accept_connection(StreamServerSocket& listener);
    void pause_after(const std::string& problem);

    TeskController& controller_;
    Aams& engine_;
    StopEvent stopEvent_;
    ConnectionCount connections_;
};

}  // namespace teskd
