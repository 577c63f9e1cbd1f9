// The link to the notification server.
#pragma once

#include <chrono>
#include <cstddef>
#include <list>
#include <memory>
#include <string_view>

#include "core/Deadline.h"
#include "core/Event.h"
#include "core/LogSource.h"
#include "core/Thread.h"
#include "dorn/DornPacket.h"
#include "packet/PacketContainer.h"
#include "packet/PacketHandle.h"

namespace teskd {

class DatagramClientSocket;

// A thread that sends the packets of its queue to the configured server, one datagram each, and
// completes each with the answer that has the same identifiers. Any other datagram is dropped.
//
// A packet stays queued until it has been sent; while the server cannot be reached, sending is
// retried every second. A packet that was sent has a deadline of its own for its answer. The socket
// is reopened after every failure and when answers stop coming, so that it never keeps a local
// address that the machine has lost.
//
// Owner: the application objects. Threads: run on its own; the queue takes packets from any.
// Locks: the queue's.
class DornNotify : public Thread, public PacketContainer {
  public:
    static constexpr std::chrono::milliseconds ANSWER_TIMEOUT = std::chrono::seconds(20);
    static constexpr std::chrono::milliseconds RETRY_PAUSE = std::chrono::seconds(1);
    // Longest backlog while nothing can be sent. Above it the oldest packet is dropped.
    static constexpr std::size_t MOST_WAITING = 256;

    explicit DornNotify(std::chrono::milliseconds answerTimeout = ANSWER_TIMEOUT);
    ~DornNotify() noexcept(false) override;

    void run() override;
    void addPacket(Packet* packet) override;

  protected:
    void interrupt() override;

  private:
    // A packet that has been sent.
    struct Pending {
        PacketHandle<DornPacket> packet;
        Deadline deadline;
    };

    // Sends what is queued, then waits for one event and handles it.
    void step();
    bool waits_for_next_socket() const;
    bool may_send() const;
    void send_queued();
    void send_next();
    void prepare_socket();
    void open_socket();
    void drop_surplus();

    // True when there is something to receive.
    bool wait();
    // The earliest deadline or retry.
    Deadline next_deadline() const;
    void receive();
    void match(std::string_view datagram);
    void read_answer(DornPacket& packet, std::string_view datagram);
    void time_out_overdue();

    void lose_link(const Exception& e);
    void postpone(const char* problem);
    void fail(DornPacket& packet, const Exception& e);
    void fail_pending(const Exception& e);
    void log_failure(const Exception& e);

    const std::chrono::milliseconds answerTimeout_;
    Event wake_;  // a packet was queued, or the thread is to stop
    // Used by this thread only.
    std::unique_ptr<DatagramClientSocket> socket_;  // never null while something is pending
    std::unique_ptr<char[]> datagram_;              // buffer for the largest one
    std::list<Pending> pending_;                    // in the order of their deadlines
    Deadline retryAt_ = Deadline::passed();         // nothing is sent before
    bool unanswered_ = false;                       // the last result on the socket was a time-out
    bool unreachable_ = false;  // the server cannot be reached, and that was logged
    LogSource log_;
};

}  // namespace teskd
