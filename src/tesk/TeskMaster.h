// The link to one slot machine.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>

#include "core/Event.h"
#include "core/LogSource.h"
#include "core/Synchronized.h"
#include "core/Thread.h"
#include "packet/PacketContainer.h"
#include "tesk/LateAnswers.h"
#include "tesk/TeskPacket.h"

namespace teskd {

class Telnet;
class TeskController;

// A thread and its queue: takes TeskPackets one by one, writes each to the machine behind its
// serial port, reads the answer into the same packet, acknowledges it and notifies the packet's
// listeners. One request, one answer, one acknowledgement at a time. A run ends with the first
// failure of the link, which is reported to every queued packet. The next request starts a new run,
// which reconnects.
//
// Probe: if the controller asks lost machines (WhenLost::ASK) and a machine that had answered fails
// a request, it is asked for its counters at once, in the same run, on a new connection if the link
// has failed. Otherwise one bad request would leave it disconnected until the next request of
// somebody else. Any answer with the probe's ID is accepted, even a late one to a host's text with
// other bytes: it is discarded, but proves that the machine works.
//
// Unrequested bytes are dropped if they arrive before the next request is written, or if their ID
// differs from that of the open request; see LateAnswers.
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

    // Queues the packet and starts a run if there is none. The packet's listeners are notified of
    // an error at once if no run can be started, if the master was shut down, if the request is
    // empty, or if the serial-port server would read part of it as a Telnet command: that could
    // change the line's settings, or leave the server waiting for the rest of a command for ever.
    void submit(TeskPacket* packet);
    // Stops the thread permanently: queued packets are reported as failed, new ones refused.
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

    // Values kept per key; 0 for a new key. The engine keeps the counters of the last reading here,
    // with which check 38 compares the next one: there are as many as lines, however many codes
    // machines send. They are not maxima: each reading replaces them, a lower one too.
    std::int32_t get_maximum(const std::string& key) const;
    // Stores only what is greater than the stored value.
    void update_maximum(const std::string& key, std::int32_t value);
    // Stores the value in any case.
    void set_maximum(const std::string& key, std::int32_t value);

  protected:
    void interrupt() override;

  private:
    // Enough for the five line settings that a serial-port server confirms when a run starts, each
    // with a log line.
    static constexpr int LINES_PER_SECOND = 8;

    void report(const char* problem);
    // Logs that the machine does not answer, once until it answers again.
    void log_silence(const TeskPacket& packet);
    // Logs that the machine answers: its first answer, and the first one after a failure.
    void log_answers();
    // Fails a request that must not be written; true if it was one.
    bool refuse_if_unsendable(TeskPacket& packet);
    void refuse(TeskPacket& packet, const char* reason, const char* error);
    // Connects and serves until the link ends; true if the caller has to reconnect at once.
    bool run_link();
    void serve(Telnet& telnet);
    // Sends one request to a machine that has just been lost, so that it counts as connected again
    // once it answers. One try per failure: a probe that fails is not repeated.
    void probe(Telnet& telnet);
    // Writes the request, reads its answer within the packet's time-out, and acknowledges it. False
    // when the answer timed out. @throws SocketException when the deadline passed during a write:
    // it is unknown then how much was sent, so the link is unusable.
    bool exchange(Telnet& telnet, TeskPacket& packet);
    // Drops the bytes that have arrived before a request is written: they cannot be its answer.
    // Except before the run's first request, which may take them: the machine may have spoken
    // before it could be asked.
    void drop_unasked(Telnet& telnet);
    // Has a short time-out of its own, so that an answer just in time does not fail the link.
    void acknowledge(Telnet& telnet, int id);
    // Reports the error to all queued packets and ends the run, leaving no packet behind. Or keeps
    // the run going and returns true, if a machine that has just been lost is to be probed.
    bool end_link(const Exception& e);

    TeskController& controller_;
    std::string address_;
    int port_ = 0;
    std::atomic<bool> connected_{false};
    std::map<std::string, std::int32_t> maxima_ TESKD_GUARDED_BY(maximaLock_);
    mutable Synchronized maximaLock_;

    Synchronized control_;
    bool closed_ TESKD_GUARDED_BY(control_) = false;
    // Opens its descriptor with the first run: many configured ports may have no machine.
    Event stopEvent_{Event::Opening::WHEN_AWAITED};
    // Used by the master's thread only.
    TeskPacket acknowledgement_;
    bool probing_ = false;  // a probe is due or in progress
    // What the log says of the machine.
    enum class Told { NOTHING, ANSWERS, SILENT, BROKEN };
    Told told_ = Told::NOTHING;
    LogSource log_{LINES_PER_SECOND};  // lines that the machine or its serial-port server causes
    LogSource failureLog_;             // lines about failures of the link
    LogSource stateLog_{LINES_PER_SECOND};  // whether the machine answers
    LateAnswers late_{log_};                // of this run
};

}  // namespace teskd
