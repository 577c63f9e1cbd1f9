#include "dornctl/Metrics.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>

#include "dornctl/Dialogue.h"
#include "dornctl/Json.h"
#include "dornctl/MachineList.h"
#include "dornctl/MetricsText.h"
#include "dornctl/Now.h"
#include "host/AamsContent.h"
#include "host/VersionAnswer.h"

namespace dornctl {

using namespace teskhost;

namespace {

constexpr int kReadings = 502;
constexpr auto* kCounter = MetricsText::kCounter;
constexpr auto* kGauge = MetricsText::kGauge;

struct Options {
    std::string output{};
    std::string notifications{};
    bool gatewayOnly = false;
};

// The state of the gateway at one time.
struct Look {
    double roundTrip = 0;
    std::string version{};
    std::vector<ListedMachine> machines{};
    AamsContent readings{};
    Round asked{};  // the known machines, for their meters
};

double secondsOf(std::chrono::steady_clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

std::string contentOf(const std::string& file) {
    std::ifstream in(file);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

AamsContent readingsOf(Dialogue& dialogue) {
    const Round round = dialogue.ask({{.request = Request::aams(kReadings, "")}});
    round.requireAll();
    const std::vector<Frame>& frames = round.all.front().regular;
    if (frames.empty()) return {};
    return AamsContent::decode(AamsMessage::decode(frames.front().body));
}

Look lookAt(const Settings& settings, bool gatewayOnly) {
    Dialogue dialogue(settings, Settings::kShort);
    Look look;
    const Round version = dialogue.ask({{.request = Request::version()}});
    version.requireAll();
    look.roundTrip = secondsOf(version.all.front().elapsed);
    for (const auto& answer : version.all.front().decode<VersionAnswer>()) {
        look.version = answer.version;
    }
    look.machines = listMachines(dialogue);
    look.readings = readingsOf(dialogue);
    std::vector<Question> questions;
    for (const ListedMachine& machine : look.machines) {
        if (gatewayOnly || machine.state != MachineState::Known) continue;
        questions.push_back({machine.name, Request::counters(machine.name), Scope::Pages});
    }
    look.asked = dialogue.ask(questions);
    return look;
}

const Answers* answersOf(const Look& look, const std::string& machine) {
    for (const Answers& answers : look.asked.all) {
        if (answers.machine == machine) return &answers;
    }
    return nullptr;
}

bool answered(const Answers* answers) {
    return answers != nullptr && !answers->regular.empty();
}

// Measured by the gateway's clock, from the newest reading of its polls.
std::optional<double> ageOf(const Look& look, const std::string& machine) {
    if (answered(answersOf(look, machine))) return 0;
    const auto fields = look.readings.fields;
    const auto now = std::find_if(fields.begin(), fields.end(),
                                  [](const Field& field) { return field.key == "answered"; });
    for (const AamsReading& reading : look.readings.readings) {
        if (reading.message.machine != machine || now == fields.end()) continue;
        return secondsBetween(reading.stamp, now->raw);
    }
    return {};
}

MetricsText::Labels labelsOf(const ListedMachine& machine) {
    return {{"machine", machine.name}, {"port", std::to_string(machine.port)}};
}

void tellGateway(MetricsText& metrics, const std::optional<Look>& look) {
    metrics.family("teskd_up", kGauge, "Whether the gateway answered.");
    metrics.set({}, look ? 1 : 0);
    metrics.family("teskd_unanswered_looks_total", kCounter,
                   "Requests for the gateway's state without an answer.");
    metrics.count({}, look ? 0 : 1);
    if (!look) return;
    metrics.family("teskd_info", kGauge, "The gateway's software version.");
    metrics.set({{"version", look->version}}, 1);
    metrics.family("teskd_round_trip_seconds", kGauge,
                   "From a request to the gateway itself to its answer.");
    metrics.set({}, look->roundTrip);
}

void tellMachines(MetricsText& metrics, const Look& look) {
    metrics.family("teskd_machine_known", kGauge, "Whether the machine's last answer came.");
    for (const ListedMachine& machine : look.machines) {
        metrics.set(labelsOf(machine), machine.state == MachineState::Known ? 1 : 0);
    }
    metrics.family("teskd_machine_last_answer_age_seconds", kGauge,
                   "Since the machine's last answer to a poll or to this request.");
    for (const ListedMachine& machine : look.machines) {
        const std::optional<double> age = ageOf(look, machine.name);
        if (age) metrics.set(labelsOf(machine), *age);
    }
    metrics.family("teskd_machine_round_trip_seconds", kGauge,
                   "From a request for the machine's meters to its answer.");
    for (const ListedMachine& machine : look.machines) {
        const Answers* const answers = answersOf(look, machine.name);
        if (answered(answers)) metrics.set(labelsOf(machine), secondsOf(answers->elapsed));
    }
}

// Requests to the machines and their outcomes. Without `asked` the counters keep their values.
void tellRequests(MetricsText& metrics, const std::vector<Answers>& asked) {
    const auto tell = [&](const char* name, const char* help, const auto& counts) {
        metrics.family(name, kCounter, help);
        for (const Answers& answers : asked) {
            metrics.count({{"machine", answers.machine}}, counts(answers) ? 1 : 0);
        }
    };
    tell("teskd_machine_requests_total", "Requests of this command to the machine.",
         [](const Answers&) { return true; });
    tell("teskd_machine_timeouts_total", "Of them, those without an answer in time.",
         [](const Answers& a) { return !a.complete || a.failure == Kind::TimedOut; });
    tell("teskd_machine_failures_total", "Of them, those that failed otherwise.",
         [](const Answers& a) { return a.failure && a.failure != Kind::TimedOut; });
}

// The file has all notifications, so they are counted from the start.
void tellNotifications(MetricsText& metrics, const std::string& file) {
    std::ifstream lines(file);
    if (!lines) throw std::runtime_error(file + ": " + std::strerror(errno));
    std::map<int, int> counts;
    for (std::string line; std::getline(lines, line);) {
        const Json json = Json::parse(line, nullptr, false);
        if (!json.is_object() || json.value("repeated", false)) continue;
        ++counts[json.value("code", 0)];
    }
    metrics.family("teskd_notifications_total", kCounter,
                   "Notifications in the file of listen --keep, without repeated ones.");
    for (const auto& [code, count] : counts) {
        metrics.set({{"code", std::to_string(code)}}, count);
    }
}

// Replaces the file atomically: a reader sees either the old or the new content.
void replace(const std::string& file, const std::string& text) {
    const std::string next = file + ".new";
    std::ofstream out(next);
    out << text << std::flush;
    if (!out || std::rename(next.c_str(), file.c_str()) != 0) {
        throw std::runtime_error(file + ": " + std::strerror(errno));
    }
}

std::string textOf(const Options& options, const std::optional<Look>& look) {
    MetricsText metrics(options.output.empty() ? "" : contentOf(options.output));
    tellGateway(metrics, look);
    if (look) tellMachines(metrics, *look);
    tellRequests(metrics, look ? look->asked.all : std::vector<Answers>());
    if (!options.notifications.empty()) tellNotifications(metrics, options.notifications);
    return metrics.text();
}

void write(const Options& options, const std::optional<Look>& look) {
    const std::string text = textOf(options, look);
    if (options.output.empty()) {
        std::cout << text;
    } else {
        replace(options.output, text);
    }
}

ExitStatus run(const Settings& settings, const Options& options) {
    std::optional<Look> look;
    try {
        look = lookAt(settings, options.gatewayOnly);
    } catch (const std::exception&) {
        write(options, {});
        throw;
    }
    write(options, look);
    return look->asked.report(settings);
}

}  // namespace

void declareMetrics(CLI::App& app, Action& chosen) {
    const auto options = std::make_shared<Options>();
    CLI::App& command =
        *app.add_subcommand("metrics", "The gateway's state in the Prometheus text format");
    command
        .add_option("--output", options->output,
                    "Write to this file and continue its counters; for node-exporter's textfile "
                    "collector")
        ->type_name("FILE");
    command
        .add_option("--notifications", options->notifications,
                    "Count the notifications in this file, which \"dornctl listen --keep\" writes")
        ->type_name("FILE");
    command.add_flag("--gateway-only", options->gatewayOnly, "Do not ask the machines");
    command.footer(
        "Examples:\n  dornctl metrics\n"
        "  dornctl metrics --output /var/lib/prometheus/node-exporter/teskd.prom");
    command.callback([&chosen, options] {
        chosen = [options](const Settings& settings) { return run(settings, *options); };
    });
}

}  // namespace dornctl
