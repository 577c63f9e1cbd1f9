// The listener for host connections.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "core/Deadline.h"
#include "core/Event.h"
#include "core/LogSource.h"
#include "core/Thread.h"
#include "dorn/ConnectionCount.h"
#include "dorn/CreatePacket.h"
#include "dorn/DescriptorBudget.h"
#include "dorn/HostMemory.h"
#include "dorn/SpareDescriptor.h"
#include "net/AddressList.h"

namespace teskd {

class LocalEndpoints;
class PacketContainer;
class Socket;
class StreamServerSocket;
class TeskController;

// A thread that listens on the configured local endpoints and starts a Dorn for every connection.
//
// A host is turned away at once
// - when descriptors, threads or memory are lacking,
// - when its descriptors may be needed by serial ports (DescriptorBudget), or what it may hold is
//   more than the memory allows (HostLimits),
// - when it is not on the list of allowed hosts. This machine itself is always allowed.
//
// Owner: the application objects; the controller and the engine outlive it. Keeps no list of the
// connections it started, only their count.
// Threads: run on its own; await_connections by the owner.
class DornDeamon : public Thread {
  public:
    DornDeamon(TeskController& controller, PacketContainer& engine, CreatePacket createPacket);
    // Stops everything and waits for it.
    ~DornDeamon() noexcept(false) override;

    void run() override;

    // After stop(): waits until every connection has ended.
    void await_connections() { connections_.awaitNone(); }

  protected:
    void interrupt() override { stopEvent_.set(); }

  private:
    // Each connection logs a few lines, and hosts may connect and disconnect any number of times.
    // Enough for sixty hosts that disconnect at once.
    static constexpr int HOST_LINES_PER_SECOND = 128;

    // For the current limit of open files.
    DescriptorBudget budget() const;
    void warn_of_low_limit() const;
    void log_little_memory() const;
    // How many hosts may be connected at a time.
    std::size_t most_connections() const;
    // Once, as soon as hosts can connect or if there is no address on which they could.
    void log_start(const LocalEndpoints& endpoints);
    void read_allowed_hosts();
    // False, and logged, for a host that is not on the list.
    bool may_connect(const Socket& connection);
    // One round of the thread. The first one reads the configuration into `endpoints`.
    void step(std::optional<LocalEndpoints>& endpoints);
    void serve(LocalEndpoints& endpoints);
    // How long to wait for a host at most.
    Deadline next_deadline(const LocalEndpoints& endpoints);
    // What connections have freed goes back to the system; seldom, since it takes time.
    void return_memory();
    void accept_connection(StreamServerSocket& listener);
    void start_connection(const Socket& connection);
    void turn_away(const StreamServerSocket& listener, const char* problem);
    void log_problem(const char* what, const char* problem);
    // All whose dropped lines this thread reports.
    std::array<LogSource*, 3> logs() { return {&hostLog_, &strangerLog_, &problemLog_}; }
    void pause();

    TeskController& controller_;
    PacketContainer& engine_;
    const CreatePacket createPacket_;
    const std::size_t lines_;
    // Used by this thread only.
    std::size_t listeners_ = 0;
    Deadline nextReturn_ = Deadline::passed();
    bool started_ = false;                // the start is logged
    std::optional<AddressList> allowed_;  // without a list, every host

    Event stopEvent_;
    LogSource hostLog_{HOST_LINES_PER_SECOND};  // of all connections
    ConnectionCount connections_;
    HostMemory memory_;
    SpareDescriptor spare_;
    LogSource problemLog_;  // hosts that cannot be served, which may retry without end
    LogSource strangerLog_{LogSource::LINES_PER_SECOND, hostLog_};  // hosts that may not connect
};

}  // namespace teskd
