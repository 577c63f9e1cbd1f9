#include "aams/Aams.h"

#include <exception>
#include <stdexcept>
#include <string>
#include <unistd.h>

#include "aams/AamsPacketU2.h"
#include "aams/AamsPacketU3.h"
#include "aams/AamsPacketU5.h"
#include "aams/AamsReply.h"
#include "config/ZqConfig.h"
#include "core/Attempt.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "core/Text.h"
#include "core/Timer.h"
#include "packet/PacketHandle.h"
#include "tesk/TeskController.h"

namespace teskd {

namespace {

constexpr const char* TOTAL_IN = "CNTTOTIN";
constexpr const char* TOTAL_OUT = "CNTTOTOT";
constexpr const char* CLOSED_GAMES = "CNTCL";

constexpr useconds_t RETRY_PAUSE = 500'000;  // microseconds

aamsreply::Identity identity() {
    return {ZqConfig::get_model(),
            ZqConfig::get_sw_version(),
            ZqConfig::get_sw_update(),
            ZqConfig::get_manufacturer_id(),
            ZqConfig::get_tesk_connection_type(),
            ZqConfig::get_zq_connection_type()};
}

}  // namespace

Aams::Aams(TeskController& controller, PacketContainer& notifier, Timer& timer)
    : Thread("Aams"),
      controller_(controller),
      notifier_(notifier),
      timer_(timer),
      timerTask_(*this),
      ntpTask_(*this),
      notifyBack_(*this) {
    load_external_parameters();
}

Aams::~Aams() noexcept(false) {
    stop();
    awaitEnd();
}

void Aams::load_external_parameters() {
    const SynchronizedLock lock(parametersLock_);
    parameters_.tmp_app_collegati = ZqConfig::get_tmp_app_collegati();
    parameters_.invio_app_collegati = ZqConfig::get_invio_app_collegati();
    parameters_.invio_no_app_collegati = ZqConfig::get_invio_no_app_collegati();
    parameters_.tmp_app_accensione = ZqConfig::get_tmp_app_accensione();
}

ExternalParameters Aams::parameters() const {
    const SynchronizedLock lock(parametersLock_);
    return parameters_;
}

void Aams::run() {
    retry_until_done([this] { start_timer(); });
    retry_until_done([this] { announce(); });
    while (isRunning()) {
        const PacketHandle<Packet> packet = nextPacket(this);
        if (!packet || !isRunning()) break;
        serve(*packet);
        removePacket(packet.pointer());
    }
    closeContainer();
}

// Retries instead of giving up: an engine without its first steps would never poll or announce
// itself.
template <class Step>
void Aams::retry_until_done(Step step) {
    while (isRunning() && !attempt("The engine cannot start yet", step)) usleep(RETRY_PAUSE);
}

void Aams::start_timer() {
    schedule_polling();
    timer_.schedule(ntpTask_, 0, ZqConfig::get_tout_ora_ms());
    if (!timer_.isRunning()) throw Exception("Its timer does not run");
}

// The parameters are read and given to the timer under one lock, here and in hasten_polling(). A
// change between the two steps would be overwritten with the times before it.
void Aams::schedule_polling() {
    const SynchronizedLock lock(parametersLock_);
    timer_.schedule(timerTask_, parameters_.first_delay_ms(), parameters_.period_ms());
}

// hasten() never delays the next pass, and after the first pass its delay is a whole period: a host
// that changes the parameters again and again neither stops the polling nor speeds it up.
void Aams::hasten_polling() {
    const SynchronizedLock lock(parametersLock_);
    const std::uint32_t period = parameters_.period_ms();
    timer_.hasten(timerTask_, timerTask_.has_run() ? period : parameters_.first_delay_ms(), period);
}

// Requests the parameters, and identifies the gateway when its software was updated.
void Aams::announce() {
    const PacketHandle<AamsPacketU2> question(new AamsPacketU2(aamsreply::address(mac())));
    send_notification(*question);
    if (!ZqConfig::is_sw_updated()) return;
    const PacketHandle<AamsPacketU3> report(new AamsPacketU3(identification()));
    send_notification(*report);
}

void Aams::send_notification(AamsPacketU& notification) {
    notification.addListener(&notifyBack_);
    notification.send(notifier_);
}

void Aams::serve(Packet& packet) {
    auto* const request = dynamic_cast<AamsPacket*>(&packet);
    if (request == nullptr) return;
    try {
        handle_request(*request);
    } catch (const std::out_of_range& e) {
        request->notifyError(Exception(e.what()));  // the request has no body
        return;
    } catch (const std::exception& e) {
        Log::write(Log::WARNING, "A request has failed: %s", e.what());
        request->notifyError(Exception(e.what()));
        return;
    } catch (const Exception& e) {
        request->notifyError(e);
        return;
    }
    request->notifyCompleted();
}

void Aams::handle_request(AamsPacket& request) {
    switch (request.get_code_id()) {
        case 501:
            return handle_identification(request);
        case 502:
            return handle_connected_list(request);
        case 503:
            return handle_slot_readings(request);
        case 504:
            return handle_slot_errors(request);
        case 505:
            return handle_get_external_parameters(request);
        case 506:
            handle_set_external_parameters(request);
            return hasten_polling();
        case 507:
            return handle_set_date_time(request);
        default:
            report_invalid_code(request.get_code_id());
    }
}

void Aams::report_invalid_code(std::int32_t code_id) {
    codeLog_.standardError("Invalid request code id: ", std::to_string(code_id));
}

std::string Aams::mac() {
    return ZqConfig::get_mac_string(ZqConfig::IDENTIFYING_INTERFACE);
}

aamsreply::Origin Aams::origin() {
    return {mac(), ZqConfig::get_current_date_time()};
}

std::string Aams::identification() {
    return aamsreply::or_failure(mac, "0A",
                                 [] { return aamsreply::identification(origin(), identity()); });
}

std::string Aams::connected_list() const {
    return aamsreply::connected_list(origin(), cache_, state_);
}

void Aams::handle_identification(AamsPacket& request) {
    request.set_body(identification());
}

void Aams::handle_connected_list(AamsPacket& request) {
    request.set_body(connected_list());
}

void Aams::handle_slot_readings(AamsPacket& request) {
    request.set_body(aamsreply::slot_readings(origin(), cache_, request.get_body()));
}

void Aams::handle_slot_errors(AamsPacket& request) {
    request.set_body(aamsreply::slot_errors(origin(), cache_, request.get_body(), state_));
}

void Aams::handle_get_external_parameters(AamsPacket& request) {
    request.set_body(aamsreply::or_failure(
        mac, "0F", [this] { return aamsreply::external_parameters(origin(), parameters()); }));
}

void Aams::handle_set_external_parameters(AamsPacket& request) {
    const std::string text = request.get_body();
    request.clear_body();
    set_external_parameters(text);
}

// Parsing stops at the first bad field, and the fields before it take effect. The answer does not
// report the error; the host sees the outcome when it requests the parameters.
void Aams::set_external_parameters(const std::string& text) {
    ExternalParameters changed;
    bool same = false;
    {
        const SynchronizedLock lock(parametersLock_);
        const ExternalParameters before = parameters_;
        try {
            parameters_.parse(text);
        } catch (const Exception&) {
            // The fields before the bad one count.
        }
        changed = parameters_;
        same = changed == before;
    }
    LogSource& log = same ? sameLog_ : changeLog_;
    log.info(
        "AAMS External parameters changed: tmp_app_collegati = %d, invio_app_collegati = %d, "
        "invio_no_app_collegati = %d, tmp_app_accensione = %d",
        changed.tmp_app_collegati, int{changed.invio_app_collegati},
        int{changed.invio_no_app_collegati}, changed.tmp_app_accensione);
}

void Aams::handle_set_date_time(AamsPacket& request) {
    const std::string date = request.get_body();
    request.clear_body();
    if (!set_date_time(date)) request.set_body(aamsreply::date_not_set(mac()));
}

bool Aams::set_date_time(const std::string& date) {
    try {
        ZqConfig::set_current_date_time(date, dateLog_);
        return true;
    } catch (const Exception& e) {
        dateLog_.warning("Unable to set date and time: %s", e.getMessage().c_str());
        return false;
    }
}

void Aams::packetCompleted(Packet* packet) {
    const PacketHandle<TeskPacket> reading(&dynamic_cast<TeskPacket&>(*packet));
    attempt("A reading was not checked", [this, &reading] { check_reading(*reading); });
}

void Aams::check_reading(const TeskPacket& answer) {
    const AamsCache::Reading reading{text::format("%02d", static_cast<int>(answer.get_context())),
                                     ZqConfig::get_current_date_time(), answer.to_string(),
                                     check_counters(answer)};
    cache_.add_reading(answer.get_code_id(), reading.context, reading.stamp, reading.message,
                       reading.errors);
    for (const std::string& error : reading.errors) report_failed_check(reading, error);
}

// The new counters are stored even when a check fails: the next reading is compared with this one.
std::list<std::string> Aams::check_counters(const TeskPacket& reading) {
    const auto values = ReadingCheck::parse(reading.get_body());
    if (!values) return {};
    const ReadingCheck::Stored read{ReadingCheck::to_integer(values->totalIn),
                                    ReadingCheck::to_integer(values->totalOut),
                                    ReadingCheck::to_integer(values->closedGames)};
    ReadingCheck::Stored stored = read;
    try {
        stored = exchange_counters(reading.get_code_id(), read);
    } catch (const UnknownCodeIdException&) {
        // Another machine took the code over meanwhile: there are no counters to compare with.
    }
    return ReadingCheck::errors(*values, stored, reading.has_trailer());
}

ReadingCheck::Stored Aams::exchange_counters(const std::string& code,
                                             const ReadingCheck::Stored& read) {
    const ReadingCheck::Stored before{controller_.get_maximum(code, TOTAL_IN),
                                      controller_.get_maximum(code, TOTAL_OUT),
                                      controller_.get_maximum(code, CLOSED_GAMES)};
    controller_.set_maximum(code, TOTAL_IN, read.totalIn);
    controller_.set_maximum(code, TOTAL_OUT, read.totalOut);
    controller_.set_maximum(code, CLOSED_GAMES, read.closedGames);
    return before;
}

void Aams::report_failed_check(const AamsCache::Reading& reading, const std::string& error) {
    const PacketHandle<AamsPacketU5> report(
        new AamsPacketU5(aamsreply::failed_check(origin(), reading, error)));
    send_notification(*report);
}

}  // namespace teskd
