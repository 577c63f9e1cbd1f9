// The AAMS engine.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

#include "aams/AamsCache.h"
#include "aams/AamsReply.h"
#include "aams/ExternalParameters.h"
#include "aams/ReadingCheck.h"
#include "core/LogSource.h"
#include "core/Synchronized.h"
#include "core/Thread.h"
#include "core/TimerTask.h"
#include "packet/PacketContainer.h"
#include "packet/PacketEventListener.h"

namespace teskd {

class AamsPacket;
class AamsPacketU;
class TeskController;
class TeskMaster;
class TeskPacket;
class Timer;

// Answers AAMS requests 501 to 507 from its queue, polls the slot machines for their counters,
// checks each reading, and sends notifications 1 to 5.
//
// Owner: the application objects. They also own the controller, the notifier and the timer, which
// the engine uses only while threads run.
// Threads: run and the request handlers on its own; check_reading on the master's thread that read
// the answer; the two tasks on the timer's; notifyBack on the notifier's.
// Locks: parametersLock_, under which the timer's list is locked; the cache has its own. No lock is
// held while listeners are called.
class Aams : public Thread, public PacketContainer, public PacketEventListener {
  public:
    Aams(TeskController& controller, PacketContainer& notifier, Timer& timer);

    // Stops the thread and waits for it.
    ~Aams() noexcept(false) override;

    void run() override;

    // Takes a counter reading: checks it, adds it to the cache, and sends a notification for each
    // failed check.
    void packetCompleted(Packet* packet) override;
    // A poll without an answer is not checked.
    void packetFailed(Packet*) override {}
    void packetError(Packet*, const Exception&) override {}

    // Polls the machines for their counters, one pass per run, and reports the outcome of each pass
    // but the first.
    //
    // A pass skips a machine whose last poll is still open because it waits behind the requests of
    // hosts: polls would pile up in the machine's queue. A pass is reported once, when its last
    // poll has ended, even if later passes have begun. A pass that polled no machine is not
    // reported.
    //
    // Threads: run on the timer's, the callbacks on the masters'. Locks: passLock_, innermost.
    class AamsTimerTask : public TimerTask, public PacketEventListener {
      public:
        explicit AamsTimerTask(Aams& owner);

        void run() override;
        bool has_run() const { return passCount_ > 0; }
        // For the polls of this task only.
        void packetCompleted(Packet* packet) override;
        void packetFailed(Packet* packet) override;
        void packetError(Packet* packet, const Exception& e) override;

      private:
        // A pass that will be reported.
        struct Pass {
            std::size_t open = 1;  // polls without an outcome, plus one while polls are being sent
            bool asked = false;    // a machine was polled, or the poll failed for want of memory
            bool answered = false;
        };

        void start_pass();
        // Reads the parameters and sets the task's period under one lock. A change between the two
        // steps would be overwritten with the old period.
        ExternalParameters take_parameters();
        void begin_report(std::uint32_t pass);
        void poll_or_count(TeskMaster& machine, std::uint32_t pass);
        // False when the machine's last poll is still open; then it is not polled again.
        bool open_poll(TeskMaster& machine, std::uint32_t pass);
        // Throws when the poll was not queued, so that no callback will come for it.
        void poll(TeskMaster& machine);
        void end_poll(Packet& packet, bool answered);
        void end_poll(const TeskMaster& machine, bool answered);
        void end_part(std::uint32_t pass, bool answered);
        // Removes and returns the pass when that was its last open part.
        std::optional<Pass> take_ended(std::uint32_t pass, bool answered);
        void report_pass(bool answered);

        Aams& owner_;
        std::atomic<std::uint32_t> passCount_{0};
        Synchronized passLock_;
        std::map<std::uint32_t, Pass> passes_ TESKD_GUARDED_BY(passLock_);  // by their numbers
        // The machines with an open poll, and the pass for which it counts.
        std::map<const TeskMaster*, std::uint32_t> open_ TESKD_GUARDED_BY(passLock_);
    };

    // Asks for the date and time at a fixed period. Threads: run on the timer's.
    class AamsNtpTimerTask : public TimerTask {
      public:
        explicit AamsNtpTimerTask(Aams& owner);
        void run() override;

      private:
        Aams& owner_;
    };

    // Applies the answers to the engine's notifications. Threads: the notifier's.
    class AamsNotifyBack : public PacketEventListener {
      public:
        explicit AamsNotifyBack(Aams& owner) : owner_(owner) {}
        void packetCompleted(Packet* packet) override;
        void packetFailed(Packet*) override {}
        void packetError(Packet*, const Exception&) override {}

      private:
        void apply(const AamsPacket& answer);

        Aams& owner_;
    };

  protected:
    void interrupt() override { wakeConsumer(); }

  private:
    static constexpr int DATE_LINES_PER_SECOND = 8;  // setting the date may log two lines

    void load_external_parameters();
    ExternalParameters parameters() const;
    template <class Step>
    void retry_until_done(Step step);
    void start_timer();
    void schedule_polling();
    // After a change of the parameters: moves the next pass to the time that they give, if that is
    // earlier.
    void hasten_polling();
    void announce();
    void serve(Packet& packet);
    void handle_request(AamsPacket& request);

    void handle_identification(AamsPacket& request);
    void handle_connected_list(AamsPacket& request);
    void handle_slot_readings(AamsPacket& request);
    void handle_slot_errors(AamsPacket& request);
    void handle_get_external_parameters(AamsPacket& request);
    void handle_set_external_parameters(AamsPacket& request);
    void handle_set_date_time(AamsPacket& request);

    // The hardware address that identifies the gateway; with the time, what bodies are made of.
    static std::string mac();
    static aamsreply::Origin origin();
    // Bodies that both a reply and a notification have.
    static std::string identification();
    std::string connected_list() const;
    // What a request and the answer to a notification both do.
    void set_external_parameters(const std::string& text);
    // False when the clock could not be set; that is logged.
    bool set_date_time(const std::string& date);

    void check_reading(const TeskPacket& answer);
    // Runs the checks against the stored counters and stores the new ones.
    std::list<std::string> check_counters(const TeskPacket& reading);
    // The counters are kept with the machine's line; see TeskMaster::get_maximum.
    ReadingCheck::Stored exchange_counters(const std::string& code,
                                           const ReadingCheck::Stored& read);
    void report_failed_check(const AamsCache::Reading& reading, const std::string& error);
    void send_notification(AamsPacketU& notification);

    void report_invalid_code(std::int32_t code_id);

    TeskController& controller_;
    PacketContainer& notifier_;
    Timer& timer_;
    AamsCache cache_;
    AamsTimerTask timerTask_;
    AamsNtpTimerTask ntpTask_;
    AamsNotifyBack notifyBack_;
    std::atomic<char> state_{'1'};
    // One per kind of request or answer, so that no kind uses up the budget of another.
    LogSource codeLog_;
    LogSource sameLog_;    // parameters that change nothing
    LogSource changeLog_;  // parameters that change something
    LogSource dateLog_{DATE_LINES_PER_SECOND};
    ExternalParameters parameters_ TESKD_GUARDED_BY(parametersLock_);
    mutable Synchronized parametersLock_;
};

}  // namespace teskd
