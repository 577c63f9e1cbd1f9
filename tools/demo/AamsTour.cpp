#include "demo/AamsTour.h"

#include <map>
#include <optional>

#include "host/AamsWords.h"
#include "host/AnswerTables.h"

namespace demo {

using namespace teskhost;
using notifyserver::Notification;

namespace {

constexpr char kSuccess[] = "00 (success)";

const std::map<int, std::string> kAnswers = {
    {1, "the present time"}, {2, "1!1!1!0, once the machines were polled"}, {3, "received"}};

std::string quoted(const std::string& text) {
    std::string result = "\"";
    return result.append(text).append("\"");
}

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

}  // namespace

AamsTour::AamsTour(Scene& scene, Report& report)
    : scene_(scene), report_(report), link_(scene.daemon().port()) {}

void AamsTour::notifications() {
    report_.step("What the notification server has received since this start");
    Table table({{"received after", Table::Align::Right},
                 {"identifiers", Table::Align::Right},
                 {"code", Table::Align::Right},
                 {"meaning"},
                 {"server's answer"}});
    for (const int code : {1, 2, 3}) {
        const Notification n = await(code);
        table.add({scene_.sinceStart(n.arrived),
                   std::to_string(n.frame.identifierA) + " " + std::to_string(n.frame.identifierB),
                   std::to_string(code), aamswords::message(code), kAnswers.at(code)});
    }
    report_.show(table);
    report_.say("The daemon sends what it has and waits for all answers before it sends more.");
    report_.step("Notification 3, decoded");
    const AamsContent identification = show(await(3).message);
    Report::expect(identification.value("software version") == Scene::kVersion &&
                       identification.value("MAC address") == Scene::kMac,
                   "the daemon's identification");
    report_.step("The answer to 1 would set the clock; the daemon lacks the privilege and says so");
    awaitLog("Unable to set date and time");
}

void AamsTour::pollingPass() {
    report_.step("The answer to 2 was \"1!1!1!0\": the next pass begins after 0 minutes");
    awaitLog("AAMS External parameters changed");
    failedCheck();
    resultOfPass();
}

void AamsTour::failedCheck() {
    report_.step("Notification 5: " + aamswords::message(5));
    const AamsContent content = show(await(5).message);
    Report::expect(startsWith(content.value("failed check"), "38"), "check 38 failed");
    Report::expect(content.value("machine") == SlotMachines::name(kTurnedBack),
                   "the machine whose counter went backwards");
}

void AamsTour::resultOfPass() {
    report_.step("Notification 4: " + aamswords::message(4));
    const AamsContent content = show(await(4).message);
    Report::expect(content.value("result") == kSuccess, "a pass that was answered");
    Report::expect(content.readings.size() == SlotMachines::kCount, "a reading of every machine");
    std::size_t failedChecks = 0;
    for (const Notification& n : scene_.server().notifications()) {
        if (n.message.code() == 5) ++failedChecks;
    }
    Report::expect(failedChecks == 1, "one failed check and no more");
}

void AamsTour::requests() {
    const AamsContent identification = ask(501, "", "");
    Report::expect(identification.value("model") == "DEMO BOX", "the model of the configuration");
    readings();
    parameters();
    clock();
}

void AamsTour::readings() {
    const AamsContent machines = ask(502, "", "");
    Report::expect(machines.readings.size() == SlotMachines::kCount, "every machine");
    const std::string name = SlotMachines::name(kTurnedBack);
    const AamsContent history = ask(503, name, ": " + name);
    Report::expect(history.readings.size() == 2, "the readings of two passes");
    const AamsContent failed = ask(504, name, ": " + name);
    Report::expect(startsWith(failed.value("failed check"), "38") && failed.readings.size() == 2,
                   "the failed check, with the reading and the one before");
    const AamsContent good = ask(504, SlotMachines::name(1), ": " + SlotMachines::name(1));
    Report::expect(startsWith(good.value("result"), "0E"), "no failed check");
}

void AamsTour::parameters() {
    const AamsContent before = ask(505, "", "");
    Report::expect(before.value("between two polling passes") == "1 min", "1 minute");
    ask(506, "5!1!0!2", " to \"5!1!0!2\"");
    awaitLog("tmp_app_collegati = 5, invio_app_collegati = 1");
    const AamsContent after = ask(505, "", ", once more");
    Report::expect(after.value("between two polling passes") == "5 min" &&
                       after.value("report passes nobody answered") == "no" &&
                       after.value("start to first polling pass") == "2 min",
                   "the parameters of request 506");
}

void AamsTour::clock() {
    const AamsContent content = ask(507, nowStamp(), " to the present time");
    Report::expect(startsWith(content.value("result"), "FF"), "a clock that was not set");
}

Notification AamsTour::await(int code) {
    const std::optional<Notification> notification = scene_.server().waitFor(code);
    Report::expect(notification.has_value(), "notification " + std::to_string(code));
    return *notification;
}

void AamsTour::awaitLog(const std::string& part) {
    const auto line = scene_.daemon().log().waitFor(part);
    Report::expect(line.has_value(), "a log line with " + quoted(part));
    report_.say("log: " + quoted(line->text));
}

AamsContent AamsTour::ask(int code, const std::string& text, const std::string& about) {
    report_.step("Request " + std::to_string(code) + ": " + aamswords::message(code) + about);
    const Frame frame = link_.ask(Request::aams(code, text));
    Report::expect(frame.kind == Kind::Regular, "a regular answer, not " + frame.kindInWords());
    if (frame.body.empty()) {
        report_.say("answer: an empty frame, which stands for \"done\"");
        return {};
    }
    return show(AamsMessage::decode(frame.body));
}

AamsContent AamsTour::show(const AamsMessage& message) {
    const AamsContent content = AamsContent::decode(message);
    report_.show(Table::ofFields(content.fields));
    if (!content.readings.empty()) report_.show(tableOf(content.readings));
    return content;
}

}  // namespace demo
