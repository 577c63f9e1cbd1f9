// The listener for host connections.
#pragma once

#include <cstddef>
#include <optional>

#include "core/NoticeLimiter.h"
#include "core/StopEvent.h"
#include "core/Thread.h"
#include "dorn/ConnectionCount.h"
#include "dorn/DescriptorBudget.h"
#include "dorn/HostMemory.h"
#include "dorn/SpareDescriptor.h"
#include "net/AddressList.h"

namespace teskd {

class Aams;
class LocalEndpoints;
class Socket;
class StreamServerSocket;
class TeskController;

// A thread that listens on the configured local endpoints and starts a Dorn for every connection. A
// host that cannot be served, for want of descriptors, threads or memory, is turned away at once,
// and so is one that would take a descriptor that serial ports may need (DescriptorBudget), or that
// is not on the list of hosts that may connect. This machine itself always may.
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
    // What the limit of open files, as it is now, leaves to hosts.
    DescriptorBudget budget() const;
    void warn_of_low_limit() const;
    void read_allowed_hosts();
    // False, with a line in the log, for a host that is not on the list.
    bool may_connect(const Socket& connection);
    void serve(LocalEndpoints& endpoints);
    // How long to wait for a host, in milliseconds; -1 for ever.
    int patience(const LocalEndpoints& endpoints);
    void accept_connection(StreamServerSocket& listener);
    void start_connection(const Socket& connection);
    void turn_away(const StreamServerSocket& listener, const char* problem);
    void log_problem(const char* what, const char* problem);
    void pause();

    TeskController& controller_;
    Aams& engine_;
    const std::size_t lines_;
    // The thread's own.
    std::size_t listeners_ = 0;
    std::optional<AddressList> allowed_;  // none: every host

    StopEvent stopEvent_;
    ConnectionCount connections_;
    HostMemory memory_;
    SpareDescriptor spare_;
    NoticeLimiter problems_;  // of hosts that cannot be served, who try again and again
    // Of hosts that may not connect.
    NoticeLimiter strangers_{NoticeLimiter::LINES_PER_SECOND, &connections_.notices()};
};

}  // namespace teskd
