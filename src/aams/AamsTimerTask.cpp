#include "aams/Aams.h"
#include "aams/AamsPacketU4.h"
#include "aams/AamsReply.h"
#include "aams/TimerWork.h"
#include "core/Attempt.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "packet/PacketHandle.h"
#include "tesk/TeskController.h"

namespace teskd {

namespace {

// The context of a reading that a pass requested; shown in reports.
constexpr std::uint32_t CONTEXT_PASS = 4;

constexpr char STATE_FIRST_PASS = '3';
constexpr char STATE_LATER_PASS = '4';

// A request for a machine's counters that knows the machine.
class Poll : public TeskPacket {
  public:
    explicit Poll(const TeskMaster& machine) : machine_(machine) {}

    const TeskMaster& machine() const { return machine_; }

  private:
    const TeskMaster& machine_;
};

}  // namespace

Aams::AamsTimerTask::AamsTimerTask(Aams& owner) : TimerTask("AamsTimerTask"), owner_(owner) {}

void Aams::AamsTimerTask::run() {
    as_timer_work([this] { start_pass(); });
}

void Aams::AamsTimerTask::start_pass() {
    const std::uint32_t pass = ++passCount_;
    owner_.state_ = pass > 1 ? STATE_LATER_PASS : STATE_FIRST_PASS;
    const ExternalParameters parameters = take_parameters();
    // The machines, not their names: if a name moved to another machine during the pass, one
    // machine would be polled twice and another not at all.
    const std::list<TeskMaster*> machines = owner_.controller_.get_machines();
    if (pass > 1 && parameters.invio_app_collegati) begin_report(pass);
    for (TeskMaster* const machine : machines) poll_or_count(*machine, pass);
    end_part(pass, false);
}

ExternalParameters Aams::AamsTimerTask::take_parameters() {
    const SynchronizedLock lock(owner_.parametersLock_);
    setPeriod(owner_.parameters_.period_ms());
    return owner_.parameters_;
}

void Aams::AamsTimerTask::begin_report(std::uint32_t pass) {
    const SynchronizedLock lock(passLock_);
    passes_[pass] = Pass();
}

// Fails for want of memory only. No callback comes for such a poll, so it is ended here.
void Aams::AamsTimerTask::poll_or_count(TeskMaster& machine, std::uint32_t pass) {
    bool opened = false;
    const bool done = attempt("A machine was not polled", [&] {
        opened = open_poll(machine, pass);
        if (opened) return poll(machine);
        Log::write(Log::INFO, "The last automatique request for slot machine '%s' is still open",
                   machine.get_identity().c_str());
    });
    if (!done && opened) end_poll(machine, false);
}

// An open poll counts for this pass if its own pass is not reported, as the first one is not.
// Otherwise a second pass that begins while the polls of the first one are open, as after a start,
// would have no poll to wait for and would never be reported.
bool Aams::AamsTimerTask::open_poll(TeskMaster& machine, std::uint32_t pass) {
    const SynchronizedLock lock(passLock_);
    const auto open = open_.find(&machine);
    const bool isOpen = open != open_.end();
    if (isOpen && passes_.count(open->second) > 0) return false;
    const auto reported = passes_.find(pass);
    if (reported != passes_.end()) reported->second.asked = true;
    open_[&machine] = pass;
    if (reported != passes_.end()) ++reported->second.open;
    return !isOpen;
}

void Aams::AamsTimerTask::poll(TeskMaster& machine) {
    Log::write(Log::INFO, "Generating automatique request for slot machine: '%s'",
               machine.get_identity().c_str());
    const PacketHandle<Poll> question(new Poll(machine));
    question->set_id(TeskPacket::COUNTERS_ID);
    question->setAnswerTimeout(TeskPacket::ANSWER_TIME);
    question->set_context(CONTEXT_PASS);
    question->addListener(&owner_);
    question->addListener(this);
    TeskController::send(machine, question.pointer());
}

void Aams::AamsTimerTask::packetCompleted(Packet* packet) {
    end_poll(*packet, true);
}

void Aams::AamsTimerTask::packetFailed(Packet* packet) {
    end_poll(*packet, false);
}

void Aams::AamsTimerTask::packetError(Packet* packet, const Exception&) {
    end_poll(*packet, false);
}

void Aams::AamsTimerTask::end_poll(Packet& packet, bool answered) {
    end_poll(dynamic_cast<const Poll&>(packet).machine(), answered);
}

void Aams::AamsTimerTask::end_poll(const TeskMaster& machine, bool answered) {
    std::uint32_t pass = 0;
    {
        const SynchronizedLock lock(passLock_);
        const auto open = open_.find(&machine);
        pass = open->second;
        open_.erase(open);
    }
    end_part(pass, answered);
}

void Aams::AamsTimerTask::end_part(std::uint32_t pass, bool answered) {
    const std::optional<Pass> ended = take_ended(pass, answered);
    if (!ended || !ended->asked) return;
    attempt("A polling pass was not reported", [&] { report_pass(ended->answered); });
}

std::optional<Aams::AamsTimerTask::Pass> Aams::AamsTimerTask::take_ended(std::uint32_t pass,
                                                                         bool answered) {
    const SynchronizedLock lock(passLock_);
    const auto found = passes_.find(pass);
    if (found == passes_.end()) return std::nullopt;
    found->second.answered |= answered;
    if (--found->second.open > 0) return std::nullopt;
    const Pass ended = found->second;
    passes_.erase(found);
    return ended;
}

void Aams::AamsTimerTask::report_pass(bool answered) {
    if (!answered && !owner_.parameters().invio_no_app_collegati) return;
    const PacketHandle<AamsPacketU4> report(
        new AamsPacketU4(answered ? owner_.connected_list() : aamsreply::nobody_answered(mac())));
    owner_.send_notification(*report);
}

}  // namespace teskd
