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

constexpr int COUNTER_POLL_ID = 113;
constexpr std::uint32_t POLL_TIMEOUT = 10000;  // milliseconds

// What a reading was asked for; shown in reports.
constexpr std::uint32_t CONTEXT_FIRST = 3;
constexpr std::uint32_t CONTEXT_PASS = 4;

constexpr char STATE_FIRST_PASS = '3';
constexpr char STATE_LATER_PASS = '4';

}  // namespace

Aams::AamsTimerTask::AamsTimerTask(Aams& owner) : TimerTask("AamsTimerTask"), owner_(owner) {}

void Aams::AamsTimerTask::run() {
    asTimerWork([this] { start_pass(); });
}

void Aams::AamsTimerTask::start_pass() {
    ++passCount_;
    owner_.state_ = passCount_ > 1 ? STATE_LATER_PASS : STATE_FIRST_PASS;
    const ExternalParameters parameters = owner_.parameters();
    setPeriod(parameters.period_ms());
    // Not their names: one that moves during the pass would make one machine polled twice and
    // another not at all.
    const std::list<TeskMaster*> machines = owner_.controller_.get_machines();
    begin_pass(machines.size());
    const bool listens = passCount_ > 1 && parameters.invio_app_collegati;
    for (TeskMaster* const machine : machines) poll_or_count(*machine, listens);
}

void Aams::AamsTimerTask::begin_pass(std::size_t machines) {
    const SynchronizedLock lock(passLock_);
    pending_ = static_cast<std::int32_t>(machines);
    noAnswer_ = true;
}

// What fails here is memory; nobody hears of that poll otherwise.
void Aams::AamsTimerTask::poll_or_count(TeskMaster& machine, bool listens) {
    const bool polled = attempt("A machine was not polled", [&] { poll(machine, listens); });
    if (!polled && listens) count_answer(false);
}

void Aams::AamsTimerTask::poll(TeskMaster& machine, bool listens) {
    Log::write(Log::INFO, "Generating automatique request for slot machine: '%s'",
               machine.get_identity().c_str());
    const PacketHandle<TeskPacket> question(new TeskPacket);
    question->set_id(COUNTER_POLL_ID);
    question->setAnswerTimeout(POLL_TIMEOUT);
    question->set_context(passCount_ != 0 ? CONTEXT_PASS : CONTEXT_FIRST);
    question->addListener(&owner_);
    if (listens) question->addListener(this);
    TeskController::send(machine, question.pointer());
}

void Aams::AamsTimerTask::packetCompleted(Packet* packet) {
    const PacketHandle<Packet> hold(packet);
    count_answer(true);
}

void Aams::AamsTimerTask::packetFailed(Packet* packet) {
    const PacketHandle<Packet> hold(packet);
    count_answer(false);
}

void Aams::AamsTimerTask::packetError(Packet* packet, const Exception&) {
    const PacketHandle<Packet> hold(packet);
    count_answer(false);
}

void Aams::AamsTimerTask::count_answer(bool answered) {
    bool nobody = false;
    {
        const SynchronizedLock lock(passLock_);
        if (answered) noAnswer_ = false;
        if (--pending_ >= 1) return;
        nobody = noAnswer_;
    }
    attempt("A polling pass was not reported", [this, nobody] { finish_pass(nobody); });
}

void Aams::AamsTimerTask::finish_pass(bool nobody) {
    const PacketHandle<AamsPacketU4> report(new AamsPacketU4);
    if (!nobody) {
        owner_.handle_connected_list(*report);
    } else if (owner_.parameters().invio_no_app_collegati) {
        report->set_body(aamsreply::nobody_answered(passCount_ == 1));
    } else {
        return;
    }
    owner_.send_notification(*report);
}

}  // namespace teskd
