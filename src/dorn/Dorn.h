// One host connection.
#pragma once

#include <chrono>

#include "core/NoticeLimiter.h"
#include "core/StopEvent.h"
#include "core/Thread.h"
#include "dorn/ConnectionCount.h"
#include "dorn/FrameWriter.h"
#include "dorn/HostMemory.h"
#include "dorn/PendingAnswers.h"
#include "net/Socket.h"
#include "packet/PacketContainer.h"
#include "packet/PacketEventListener.h"

namespace teskd {

class Aams;
class BufferedInputStream;
class DornPacket;
class Exception;
class TeskController;

// A thread that reads request frames from its host, offers each packet to the slot-machine link, to
// the AAMS engine and to itself, and writes the packet back whenever somebody has completed it.
// Whoever completes a packet writes what the host takes at once; this thread writes the rest,
// wherever it waits. When the host has gone, in both directions, its requests are withdrawn from
// the queues they wait in; a host that has only finished sending gets all its answers.
//
// Owner: itself; created and started by DornDeamon, deletes itself when run() ends, which is not
// before every packet it dispatched has given its last answer and was freed.
// Threads: run on its own; the three listener callbacks on whichever thread completes a packet.
// Locks: those of its members, none while a consumer is called or bytes go out.
class Dorn : public Thread, public PacketContainer, public PacketEventListener {
  public:
    // How long a host is waited for.
    struct Patience {
        // Until it acknowledges something of the answers that wait for it.
        std::chrono::milliseconds acknowledgement = FrameWriter::SEND_TIMEOUT;
        // For the whole of a body, from when there is room for it.
        std::chrono::milliseconds body{60'000};
    };

    // What a connection needs of the rest of the daemon; all of it outlives the connection.
    struct Surroundings {
        TeskController& controller;
        Aams& engine;
        const StopEvent& stop;   // ends every connection
        ConnectionCount& count;  // of the connections served, and their bound on the log
        HostMemory& memory;
        Patience patience{};
    };

    // Takes the connection over. @throws SocketException
    Dorn(const Socket& connection, const Surroundings& surroundings);

    void run() override;

    void packetCompleted(Packet* packet) override;
    void packetFailed(Packet* packet) override;
    void packetError(Packet* packet, const Exception& e) override;

  private:
    using Clock = std::chrono::steady_clock;

    // What the connection's thread waits for.
    enum class Goal {
        input,    // the host has sent something or is gone
        room,     // another request of the host may be taken
        answered  // no request is pending and everything is sent
    };

    void serve();
    void dispatch(DornPacket& packet);
    // Waits until something new arrives behind bytes that are no frame; false when the event was
    // set first.
    bool await_more(const Exception& problem);
    void log_lost_connection(const Exception& e);
    void log_notice(const char* problem);
    // Waits until the host has sent something, and tells meanwhile what was left out of the log.
    // The reading behind it then need not wait again. @throws SocketException when it is to stop
    void await_input();
    // Waits until the request with a body of that size may be taken, and takes room for it. The
    // host is not read from meanwhile. @throws SocketException when the host has gone, also when it
    // has stopped sending within the request, or the connection is to stop
    void await_room(const DornPacket& packet, std::size_t size, const BufferedInputStream& input);
    bool take_room(std::size_t queued);
    void forget_request();
    // When the body that is being read has to be whole.
    Clock::time_point body_end();
    // Sends what the host takes until the goal is reached. False when the event was set or the time
    // was up first.
    bool await(Goal goal, const StopEvent* stop,
               Clock::time_point deadline = Clock::time_point::max());
    // What poll is to watch the connection for, beside its end.
    short of_interest(Goal goal) const;
    // What happened to the connection, as poll tells.
    short wait(short events, const StopEvent* stop, Clock::time_point deadline);
    void host_is_gone(Goal goal);
    void host_has_finished();
    void await_owed_answers();
    void write_answer(Packet* packet);

    ConnectionCount::Place place_;  // first: given back when everything else is gone
    Surroundings surroundings_;
    Socket connection_;
    StopEvent wake_;            // something for the thread to do
    bool isGone_ = false;       // the connection is over in both directions
    bool hasFinished_ = false;  // the host sends nothing more; known while room is waited for
    HostMemory::Account account_;
    FrameWriter writer_;
    PendingAnswers pending_;
    // The request that is being read.
    std::size_t cost_ = 0;       // bytes of memory
    std::size_t frameSize_ = 0;  // bytes from its header on
    std::size_t held_ = 0;       // of them and behind them, read already
    HostMemory::Room room_;      // from when its body may be read until it is dispatched
    Clock::time_point bodyEnd_ = Clock::time_point::max();
    NoticeLimiter noticeLimiter_;   // what is wrong with frames
    NoticeLimiter releaseLimiter_;  // the release of packets that could not be read
};

}  // namespace teskd
