// The link to the notification server.
#pragma once

#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "core/StopEvent.h"
#include "core/Thread.h"
#include "dorn/DornPacket.h"
#include "packet/PacketContainer.h"
#include "packet/PacketHandle.h"

namespace teskd {

class DatagramClientSocket;

// A thread that sends the packets of its queue to the configured server, one datagram each, and
// completes each with the answer that carries its identifiers.
//
// A datagram is a unit: what is not understood of one never reaches the next.
// Owner: the application objects. Threads: run on its own; the queue takes packets from any.
// Locks: the queue's.
class DornNotify : public Thread, public PacketContainer {
  public:
    DornNotify();
    ~DornNotify() noexcept(false) override;

    void run() override;

  protected:
    void interrupt() override;

  private:
    // Sends what is queued and takes answers until nothing is pending.
    void exchange();
    void open_socket();
    void send_queued();
    std::string receive();
    void match(std::string_view datagram);
    void time_out_pending();
    void fail_pending(const Exception& e);

    StopEvent stopEvent_;
    // The thread's own.
    std::unique_ptr<DatagramClientSocket> socket_;
    std::list<PacketHandle<DornPacket>> pending_;
};

}  // namespace teskd
