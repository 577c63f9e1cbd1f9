#include "dornctl/AamsCommands.h"

#include <iostream>
#include <memory>

#include "dornctl/Arguments.h"
#include "dornctl/Dialogue.h"
#include "dornctl/Now.h"
#include "dornctl/Show.h"

namespace dornctl {

using namespace teskhost;

namespace {

constexpr int kIdentification = 501;
constexpr int kReadings = 502;
constexpr int kHistory = 503;
constexpr int kChecks = 504;
constexpr int kParameters = 505;
constexpr int kSetParameters = 506;
constexpr int kSetClock = 507;

constexpr char kSuccess[] = "00";
constexpr char kUnknownMachine[] = "0C";
constexpr char kNoFailedCheck[] = "0E";
constexpr int kMostMinutes = 2147483646;  // the highest number that the gateway accepts

struct Parameters {
    int every = 0;
    std::string report{};
    std::string unanswered{};
    int first = 0;

    std::string text() const {
        const auto flag = [](const std::string& answer) { return answer == "yes" ? "1" : "0"; };
        return std::to_string(every) + "!" + flag(report) + "!" + flag(unanswered) + "!" +
               std::to_string(first);
    }
};

// No failed check is a successful answer, too.
ExitStatus statusOf(const std::string& result) {
    if (result == kSuccess || result == kNoFailedCheck) return ExitStatus::Success;
    return result == kUnknownMachine ? ExitStatus::UnknownMachine : ExitStatus::Refused;
}

// Shows the success that an empty frame stands for.
void showDone(const Settings& settings, int code) {
    if (settings.json) {
        show(AamsContent{code}, settings);
    } else {
        std::cout << "done\n";
    }
}

ExitStatus present(const Frame& frame, const Settings& settings, int code) {
    if (frame.body.empty()) {
        showDone(settings, code);
        return ExitStatus::Success;
    }
    const AamsContent content = AamsContent::decode(AamsMessage::decode(frame.body));
    show(content, settings);
    const ExitStatus status = statusOf(content.result());
    if (status == ExitStatus::Success) return status;
    std::cout.flush();
    tell({status, "", "the gateway replies with result " + content.value("result")}, settings);
    return status;
}

ExitStatus ask(const Settings& settings, int code, const std::string& text) {
    Dialogue dialogue(settings, Settings::kShort);
    const Round round = dialogue.ask({{.request = Request::aams(code, text)}});
    const std::vector<Frame>& frames = round.all.front().regular;
    return frames.empty() ? round.report(settings) : present(frames.front(), settings, code);
}

CLI::App& declare(CLI::App& app, const char* name, const char* description, Action& chosen,
                  int code, const std::function<std::string()>& text) {
    CLI::App& command = *app.add_subcommand(name, description);
    command.callback([&chosen, code, text] {
        chosen = [code, text](const Settings& settings) { return ask(settings, code, text()); };
    });
    return command;
}

void declarePlain(CLI::App& app, Action& chosen, const char* name, const char* description,
                  int code) {
    declare(app, name, description, chosen, code, [] {
        return std::string();
    }).footer(std::string("Example:\n  dornctl --host 192.168.0.10 ") + name);
}

void declareNamed(CLI::App& app, Action& chosen, const char* name, const char* description,
                  int code) {
    const auto machine = std::make_shared<std::string>();
    CLI::App& command =
        declare(app, name, description, chosen, code, [machine] { return *machine; });
    command.add_option("MACHINE", *machine, "Name of the machine")
        ->required()
        ->check(arguments::machine);
    command.footer(std::string("Example:\n  dornctl ") + name + " ZA000000001");
}

void declareSetParameters(CLI::App& app, Action& chosen) {
    const auto given = std::make_shared<Parameters>();
    CLI::App& command = declare(app, "set-parameters", "Sets the external parameters (506)", chosen,
                                kSetParameters, [given] { return given->text(); });
    command.add_option("--every", given->every, "Minutes between two polling passes")
        ->required()
        ->transform(arguments::number(0, kMostMinutes));
    command.add_option("--report", given->report, "Whether passes are reported")
        ->required()
        ->check(arguments::yesOrNo)
        ->type_name("yes|no");
    command
        .add_option("--report-unanswered", given->unanswered,
                    "Whether passes without any answer are reported too; only effective with "
                    "--report yes")
        ->required()
        ->check(arguments::yesOrNo)
        ->type_name("yes|no");
    command.add_option("--first", given->first, "Minutes from start to the first polling pass")
        ->required()
        ->transform(arguments::number(0, kMostMinutes));
    command.footer(
        "Example:\n  dornctl set-parameters --every 5 --report yes --report-unanswered no "
        "--first 2");
}

void declareSetClock(CLI::App& app, Action& chosen) {
    const auto time = std::make_shared<std::string>();
    CLI::App& command = declare(app, "set-clock", "Sets the gateway's date and time (507)", chosen,
                                kSetClock, [time] { return *time == "now" ? nowStamp() : *time; });
    command
        .add_option("TIME", *time,
                    "The gateway's local time as YYMMDDhhmmss, or \"now\" for that of this machine")
        ->required()
        ->check(arguments::time);
    command.footer("Examples:\n  dornctl set-clock now\n  dornctl set-clock 260315123000");
}

}  // namespace

void declareAamsCommands(CLI::App& app, Action& chosen) {
    declarePlain(app, chosen, "identification", "Model, version and connections (501)",
                 kIdentification);
    declarePlain(app, chosen, "readings", "The newest reading of every machine (502)", kReadings);
    declareNamed(app, chosen, "history", "All stored readings of a machine (503)", kHistory);
    declareNamed(app, chosen, "checks", "Failed checks of a machine's newest reading (504)",
                 kChecks);
    declarePlain(app, chosen, "parameters", "The external parameters (505)", kParameters);
    declareSetParameters(app, chosen);
    declareSetClock(app, chosen);
}

}  // namespace dornctl
