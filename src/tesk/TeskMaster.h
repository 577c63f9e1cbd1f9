// The link to one slot machine.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "core/NoticeLimiter.h"
#include "core/StopEvent.h"
#include "core/Synchronized.h"
#include "core/Thread.h"
#include "packet/PacketContainer.h"
#include "tesk/LateAnswers.h"
#include "tesk/TeskPacket.h"

namespace teskd {

class Telnet;
class TeskController;

// A thread and its queue: takes TeskPackets one by one, writes each to the machine behind its
// serial port, reads the answer into the same packet, acknowledges it and tells the packet's
// listeners. One request, one answer, one acknowledgement at a time. A run ends with the first
// failure of the link and reports it to every packet that waits; the next request starts a new run,
// which connects anew.
//
// Where the controller asks lost machines, a machine that had answered and now fails a request is
// asked for its counters at once, on a new connection if the link has failed, and the run goes on
// with that: one bad request does not make it unknown until somebody else asks it. Nobody gets that
// answer.
//
// What nobody asked for is nobody's answer, as far as it comes before the next request is written
// or can be told from its answer by the ID; see LateAnswers.
//
// Owner: the TeskController, from start-up to exit. The thread detaches itself when it ends; the
// destructor stops it and waits.
// Threads: submit, the queries and the maxima from any thread; run on the master's own.
// Locks: control_ (start, end and shutdown of runs; taken before the queue's and Thread's own),
// maximaLock_ (innermost). None is held while a listener is called.
class TeskMaster : public Thread, public PacketContainer {
  public:
    explicit TeskMaster(TeskController& controller);
    ~TeskMaster() noexcept(false) override;

    void run() override;

    // Queues the packet and makes sure that a run will take it. The packet is completed with an
    // error at once when no run can be started, when the master was shut down, when the request has
    // no byte, or when the serial-port server would take some of the request for a command to
    // itself: such bytes could change the line's settings or leave the server waiting for the rest
    // of a command for ever.
    void submit(TeskPacket* packet);
    // Stops the thread for good: what waits is reported failed, nothing new is taken.
    void shut_down();

    // Telnet endpoint, "address:port". Set before the first submit.
    void set_address(const std::string& address) { address_ = address; }
    // The name under which the controller knows this machine.
    void set_identity(const std::string& identity) { setName(identity); }
    std::string get_identity() const { return getName(); }
    void set_port(int port) { port_ = port; }
    int get_port() const { return port_; }
    // True after an answer, false after any failure.
    bool is_connected() const { return connected_; }

    // Values kept per key; 0 for a new key.
    std::int32_t get_maximum(const std::string& key) const;
    // Stores only what is greater than the stored value.
    void update_maximum(const std::string& key, std::int32_t value);
    // Stores the value in any case.
    void set_maximum(const std::string& key, std::int32_t value);

  protected:
    void interrupt() override;

  private:
    // A serial-port server confirms five line settings when a run starts, each with a line.
    static constexpr int NOTICES_PER_SECOND = 8;

    void report(const char* problem);
    // Ends a request that is not to be written; true if it was such a one.
    bool refuses(TeskPacket& packet);
    void refuse(TeskPacket& packet, const char* reason, const char* error);
    // From the connection to its end; true when another one is to be made at once.
    bool use_link();
    void serve(Telnet& telnet);
    // Asks a machine that was known until now, so that it is known again when it answers. Once for
    // each failure: a question that fails itself is not repeated.
    void probe(Telnet& telnet);
    // One request and its answer within the packet's time-out, and then the acknowledgement. False
    // when the answer timed out. @throws SocketException when the time was up while something was
    // written: nobody knows then how much of it has left.
    bool exchange(Telnet& telnet, TeskPacket& packet);
    // What has arrived before a request is written cannot be its answer. The run's first request
    // takes what it finds: the machine may have spoken before it could be asked.
    void drop_unasked(Telnet& telnet);
    // In a short time of its own: an answer that came at the last moment does not end the link.
    void acknowledge(Telnet& telnet, int id);
    // Reports the error to everything queued and ends the run, so that no packet stays behind; or
    // goes on with it, which is true, to ask a machine that was known until now.
    bool end_link(const Exception& e);

    TeskController& controller_;
    std::string address_;
    int port_ = 0;
    std::atomic<bool> connected_{false};
    std::map<std::string, std::int32_t> maxima_ TESKD_GUARDED_BY(maximaLock_);
    mutable Synchronized maximaLock_;

    Synchronized control_;
    bool closed_ TESKD_GUARDED_BY(control_) = false;
    // No descriptor before its first run: a long list of ports may have no machines.
    StopEvent stopEvent_{StopEvent::Opening::WHEN_AWAITED};
    // The master thread's own.
    TeskPacket acknowledgement_;
    bool probing_ = false;  // a lost machine is to be asked, or is being asked
    // What the machine and its serial-port server make the link log, and the ends of links.
    NoticeLimiter notices_{NOTICES_PER_SECOND};
    NoticeLimiter failures_;
    LateAnswers late_{&notices_};  // of this run
};

}  // namespace teskd
