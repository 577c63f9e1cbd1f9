#include "tesk/TeskMaster.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>
#include <new>
#include <optional>
#include <string>

#include "config/ZqConfig.h"
#include "core/Attempt.h"
#include "core/Text.h"
#include "packet/PacketHandle.h"
#include "telnet/Telnet.h"
#include "tesk/TeskController.h"

namespace teskd {

namespace {

constexpr int ACKNOWLEDGEMENT_ID = 150;
constexpr int ACKNOWLEDGEMENT_TIME = 2000;  // milliseconds

void configure_line(Telnet& telnet, int port) {
    telnet.set_baudrate(static_cast<std::uint32_t>(ZqConfig::get_port_baudrate(port)));
    telnet.set_datasize(static_cast<std::uint8_t>(ZqConfig::get_port_datasize(port)));
    telnet.set_parity(static_cast<std::uint8_t>(ZqConfig::get_port_parity(port)));
    telnet.set_stopsize(static_cast<std::uint8_t>(ZqConfig::get_port_stopsize(port)));
    telnet.set_control(static_cast<std::uint8_t>(ZqConfig::get_port_flowcontrol(port)));
}

}  // namespace

TeskMaster::TeskMaster(TeskController& controller) : Thread("TeskMaster"), controller_(controller) {
    setAutoDelete();
    acknowledgement_.set_id(ACKNOWLEDGEMENT_ID);
}

TeskMaster::~TeskMaster() noexcept(false) {
    shut_down();
    awaitEnd();
}

void TeskMaster::submit(TeskPacket* packet) {
    const PacketHandle<TeskPacket> hold(packet);
    if (refuse_if_unsendable(*packet)) return;
    std::string refusal;
    {
        const SynchronizedLock lock(control_);
        if (closed_) {
            refusal = "The link is shut down";
        } else {
            addPacket(packet);
            if (isRunning()) return;
            stopEvent_.clear();
            const int result = start();
            if (result == 0) return;
            stop();
            removePacket(packet);
            refusal = std::strerror(result);
        }
    }
    log_.warning("Cannot serve a request for '%s': %s", get_identity().c_str(), refusal.c_str());
    packet->notifyError(TeskException(refusal));
}

bool TeskMaster::refuse_if_unsendable(TeskPacket& packet) {
    if (packet.get_size() == 0) {
        refuse(packet, "it is empty", "An empty text");
        return true;
    }
    if (packet.is_plain()) return false;
    refuse(packet, "it has a byte FF that is not one of a pair",
           "A byte FF that is not one of a pair");
    return true;
}

void TeskMaster::refuse(TeskPacket& packet, const char* reason, const char* error) {
    log_.notice("A request for '%s' was refused: %s", get_identity().c_str(), reason);
    packet.notifyError(TeskException(error));
}

void TeskMaster::shut_down() {
    const SynchronizedLock lock(control_);
    closed_ = true;
    stop();
}

void TeskMaster::interrupt() {
    stopEvent_.set();
    wakeConsumer();
}

void TeskMaster::run() {
    while (run_link()) {
    }
}

bool TeskMaster::run_link() {
    try {
        Telnet telnet(address_, log_);
        telnet.setInterrupt(&stopEvent_);
        telnet.connect();
        configure_line(telnet, port_);
        late_.forget();
        if (probing_) probe(telnet);
        serve(telnet);
        telnet.close();
        return end_link(TeskException("The link is shut down"));
    } catch (const Exception& e) {
        report(e.text());
        return end_link(e);
    } catch (const std::bad_alloc& e) {
        report(e.what());
        return end_link(Exception(e.what()));  // the text is too short to need an allocation
    } catch (const std::exception& e) {
        report(e.what());
        return end_link(TeskException(e.what()));
    }
}

// Not logged for a link that was stopped on purpose.
void TeskMaster::report(const char* problem) {
    if (!isRunning()) return;
    told_ = Told::BROKEN;
    attempt("A failed link was not reported", [this, problem] {
        failureLog_.warning("The link to '%s' has failed: %s", get_identity().c_str(), problem);
    });
}

void TeskMaster::log_silence(const TeskPacket& packet) {
    if (told_ == Told::SILENT) return;
    attempt("A machine's silence was not reported", [this, &packet] {
        const std::optional<int> id = late_.askedId();
        const std::string asked = id ? text::format("request %d", *id) : "a text";
        const bool told =
            stateLog_.warning("'%s' has not answered %s within %lu ms", get_identity().c_str(),
                              asked.c_str(), static_cast<unsigned long>(packet.getAnswerTimeout()));
        if (told) told_ = Told::SILENT;
    });
}

void TeskMaster::log_answers() {
    if (told_ == Told::ANSWERS) return;
    attempt("A machine's answer was not reported", [this] {
        const std::string name = get_identity();
        const bool told =
            told_ == Told::NOTHING
                ? stateLog_.notice("'%s' on serial port %d answers", name.c_str(), port_)
                : stateLog_.notice("'%s' on serial port %d answers again", name.c_str(), port_);
        if (told) told_ = Told::ANSWERS;
    });
}

void TeskMaster::serve(Telnet& telnet) {
    while (isRunning()) {
        const PacketHandle<Packet> next = nextPacket(this);
        if (!next || !isRunning()) return;
        const PacketHandle<TeskPacket> packet(&dynamic_cast<TeskPacket&>(*next));
        const bool wasKnown = connected_;
        const bool answered = exchange(telnet, *packet);
        connected_ = answered;
        // Remove it before notifying its listeners, so that no later failure reports it again.
        removeHandled(packet.pointer());
        if (answered) {
            packet->notifyCompleted();
        } else {
            packet->notifyFailed();
        }
        if (wasKnown && !answered) probe(telnet);
    }
}

void TeskMaster::probe(Telnet& telnet) {
    if (!controller_.asks_lost_machines()) return;
    probing_ = true;
    TeskPacket question;
    question.set_id(TeskPacket::COUNTERS_ID);
    question.setAnswerTimeout(TeskPacket::ANSWER_TIME);
    connected_ = exchange(telnet, question);
    probing_ = false;
}

bool TeskMaster::exchange(Telnet& telnet, TeskPacket& packet) {
    drop_unasked(telnet);
    late_.begin(packet, probing_ ? LateAnswers::Kind::PROBE : LateAnswers::Kind::REQUEST);
    constexpr std::uint32_t LONGEST = std::numeric_limits<int>::max();
    telnet.limitTime(static_cast<int>(std::min(packet.getAnswerTimeout(), LONGEST)));
    packet.write(telnet.getOutputStream());
    telnet.getOutputStream().flush();
    bool answered = true;
    try {
        late_.read(telnet.getInputStream(), packet, get_identity());
        connected_ = true;
        controller_.bind(*this, packet.get_code_id());
        log_answers();
        acknowledge(telnet, packet.get_id());
    } catch (const ReadTimeoutException&) {
        answered = false;
        late_.timedOut();
        log_silence(packet);
    }
    telnet.limitTime(0);
    return answered;
}

void TeskMaster::drop_unasked(Telnet& telnet) {
    if (!late_.hasAsked()) return;
    const std::string arrived = telnet.getInputStream().takeArrived();
    if (!arrived.empty()) late_.drop(arrived, get_identity());
}

void TeskMaster::acknowledge(Telnet& telnet, int id) {
    telnet.limitTime(ACKNOWLEDGEMENT_TIME);
    acknowledgement_.set_body(std::to_string(id));
    acknowledgement_.write(telnet.getOutputStream());
    telnet.getOutputStream().flush();
}

// Checks for an empty queue and ends the run under one lock, control_, which submit() takes too: a
// packet is either reported here, or submit() sees no run and starts one. Otherwise a packet could
// be queued between the two steps and never be served.
bool TeskMaster::end_link(const Exception& e) {
    probing_ = connected_ && !probing_ && controller_.asks_lost_machines();
    connected_ = false;
    for (;;) {
        failAll(e);
        const SynchronizedLock lock(control_);
        if (probing_ && isRunning()) return true;
        if (!isEmpty()) continue;
        stop();
        return probing_ = false;
    }
}

std::int32_t TeskMaster::get_maximum(const std::string& key) const {
    const SynchronizedLock lock(maximaLock_);
    const auto found = maxima_.find(key);
    return found == maxima_.end() ? 0 : found->second;
}

void TeskMaster::update_maximum(const std::string& key, std::int32_t value) {
    const SynchronizedLock lock(maximaLock_);
    std::int32_t& stored = maxima_[key];
    stored = std::max(stored, value);
}

void TeskMaster::set_maximum(const std::string& key, std::int32_t value) {
    const SynchronizedLock lock(maximaLock_);
    maxima_[key] = value;
}

}  // namespace teskd
