#include "dornctl/MachineCommands.h"

#include <memory>
#include <stdexcept>
#include <type_traits>

#include "dornctl/Arguments.h"
#include "dornctl/Dialogue.h"
#include "dornctl/MachineList.h"
#include "dornctl/RawMessage.h"
#include "dornctl/Show.h"

namespace dornctl {

using namespace teskhost;

namespace {

// The arguments of all subcommands; each uses only its own.
struct Given {
    std::string machine{};
    std::string a{};
    std::string b{};
    std::uint16_t x = 0;
    std::uint16_t y = 0;
    std::uint8_t code = 0;
    std::string message{};
    bool force = false;
};

// @throws std::invalid_argument for a request that no machine would answer
using MakeRequest = std::function<Request(const Given&)>;
using Arguments = std::shared_ptr<Given>;

// The machines to ask: the named one, or all known ones.
std::vector<std::string> targetsOf(Dialogue& dialogue, const std::string& name) {
    if (!name.empty()) return {name};
    std::vector<std::string> names;
    for (const auto& machine : dialogue.machines().machines) {
        if (machine.known) names.push_back(machine.name);
    }
    return names;
}

template <typename Answer>
ExitStatus ask(const Settings& settings, const Given& given, Milliseconds usual,
               const MakeRequest& make) {
    make(given);  // throws for invalid arguments, before anything is sent
    constexpr Scope scope = std::is_same_v<Answer, MessageAnswer> ? Scope::OneFrame : Scope::Pages;
    Dialogue dialogue(settings, usual);
    std::vector<Question> questions;
    Given one = given;
    for (const std::string& name : targetsOf(dialogue, given.machine)) {
        one.machine = name;
        questions.push_back({name, make(one), scope});
    }
    const Round round = dialogue.ask(questions);
    show<Answer>(round, settings);
    if (!questions.empty()) return round.report(settings);
    tell({ExitStatus::UnknownMachine, "",
          "no machine is known to the gateway now; see \"dornctl machines\""},
         settings);
    return ExitStatus::UnknownMachine;
}

template <typename Answer>
void whenMet(CLI::App& command, Action& chosen, const Arguments& given, Milliseconds usual,
             const MakeRequest& make) {
    command.callback([&chosen, given, usual, make] {
        chosen = [given, usual, make](const Settings& settings) {
            return ask<Answer>(settings, *given, usual, make);
        };
    });
}

ExitStatus showMachines(const Settings& settings) {
    Dialogue dialogue(settings, Settings::kShort);
    show(listMachines(dialogue), settings);
    return ExitStatus::Success;
}

ExitStatus showVersion(const Settings& settings) {
    Dialogue dialogue(settings, Settings::kShort);
    const Round round = dialogue.ask({{.request = Request::version()}});
    for (const auto& answer : round.all.front().decode<VersionAnswer>()) show(answer, settings);
    return round.report(settings);
}

void refuse(const std::string& problem) {
    if (problem.empty()) return;
    throw std::invalid_argument(problem + "; no machine would answer, and a machine that does " +
                                "not answer is lost to every host until its next poll; nothing " +
                                "was sent (--force sends it nevertheless)");
}

Request requestForValue(const Given& given) {
    if (!given.force) refuse(rawmessage::problemOfId(std::to_string(given.code)));
    return Request::value(given.code, given.machine);
}

Request requestForMessage(const Given& given) {
    if (given.force) return Request::message(given.message, given.machine);
    const std::string message = rawmessage::completed(given.message);
    refuse(rawmessage::problemOf(message));
    return Request::message(message, given.machine);
}

void addForce(CLI::App& command, const Arguments& given) {
    command.add_flag("--force", given->force, "Send even a message that no machine would answer");
}

CLI::Option* addMachine(CLI::App& command, const Arguments& given) {
    return command.add_option("MACHINE", given->machine, "Name of the machine")
        ->check(arguments::machine);
}

void addOptionalMachine(CLI::App& command, const Arguments& given) {
    addMachine(command, given)->description("Name of the machine; default all known machines");
}

void addFields(CLI::App& command, const Arguments& given) {
    command.add_option("A", given->a, "First text, up to 8 characters")
        ->required()
        ->check(arguments::field);
    command.add_option("B", given->b, "Second text, up to 8 characters")
        ->required()
        ->check(arguments::field);
}

void declareMachines(CLI::App& app, Action& chosen) {
    CLI::App& command = *app.add_subcommand("machines", "The machines and their serial ports");
    command.footer("Example:\n  dornctl --host 192.168.0.10 machines");
    command.callback([&chosen] { chosen = showMachines; });
}

void declareVersion(CLI::App& app, Action& chosen) {
    CLI::App& command = *app.add_subcommand("version", "The gateway's software version");
    command.footer("Example:\n  dornctl --host 192.168.0.10 version");
    command.callback([&chosen] { chosen = showVersion; });
}

void declareMeters(CLI::App& app, Action& chosen) {
    CLI::App& command = *app.add_subcommand("meters", "The meters of one machine or of all");
    const auto given = std::make_shared<Given>();
    addOptionalMachine(command, given);
    command.footer("Examples:\n  dornctl meters\n  dornctl --json meters ZA000000001");
    whenMet<CountersAnswer>(command, chosen, given, Settings::kShort,
                            [](const Given& g) { return Request::counters(g.machine); });
}

void declareValue(CLI::App& app, Action& chosen) {
    CLI::App& command = *app.add_subcommand("value", "The value that a message code asks for");
    const auto given = std::make_shared<Given>();
    command.add_option("CODE", given->code, "Code of the message to the machine, 1 to 255")
        ->required()
        ->transform(arguments::number(1, 255));
    addOptionalMachine(command, given);
    addForce(command, given);
    command.footer("Examples:\n  dornctl value 118\n  dornctl value 118 ZA000000001");
    whenMet<ValueAnswer>(command, chosen, given, Settings::kShort, requestForValue);
}

void declareTimes(CLI::App& app, Action& chosen) {
    CLI::App& command = *app.add_subcommand("times", "Lists of times, selected by two texts");
    const auto given = std::make_shared<Given>();
    addFields(command, given);
    addOptionalMachine(command, given);
    command.footer("Example:\n  dornctl times 01.03.26 31.03.26 ZA000000001");
    whenMet<TimesAnswer>(command, chosen, given, Settings::kLong,
                         [](const Given& g) { return Request::times(g.a, g.b, g.machine); });
}

void declareListByFields(CLI::App& app, Action& chosen) {
    CLI::App& command =
        *app.add_subcommand("list-by-fields", "A machine's numbered values, selected by two texts");
    const auto given = std::make_shared<Given>();
    addFields(command, given);
    addMachine(command, given)->required();
    command.footer("Example:\n  dornctl list-by-fields CNTTOTIN CNTTOTOT ZA000000001");
    whenMet<ListAnswer>(command, chosen, given, Settings::kLong,
                        [](const Given& g) { return Request::list(g.a, g.b, g.machine); });
}

void declareListByNumbers(CLI::App& app, Action& chosen) {
    CLI::App& command = *app.add_subcommand("list-by-numbers",
                                            "A machine's numbered values, selected by two numbers");
    const auto given = std::make_shared<Given>();
    command.add_option("X", given->x, "First number, 0 to 65535")
        ->required()
        ->transform(arguments::number(0, 65535));
    command.add_option("Y", given->y, "Second number, 0 to 65535")
        ->required()
        ->transform(arguments::number(0, 65535));
    addMachine(command, given)->required();
    command.footer("Example:\n  dornctl list-by-numbers 1 300 ZA000000001");
    whenMet<ListAnswer>(command, chosen, given, Settings::kLong,
                        [](const Given& g) { return Request::list(g.x, g.y, g.machine); });
}

void declareRaw(CLI::App& app, Action& chosen) {
    CLI::App& command = *app.add_subcommand("raw", "Sends any message to a machine");
    const auto given = std::make_shared<Given>();
    command
        .add_option("MESSAGE", given->message,
                    "ID~length~text or ID~length; an omitted length is filled in")
        ->required()
        ->check(arguments::message);
    addMachine(command, given)->required();
    addForce(command, given);
    command.footer(
        "Examples:\n"
        "  dornctl raw 113 ZA000000001\n"
        "  dornctl raw '115~~CNT00001~CNT99999' ZA000000001\n"
        "  dornctl raw '113~0008' ZA000000001");
    whenMet<MessageAnswer>(command, chosen, given, Settings::kShort, requestForMessage);
}

}  // namespace

void declareMachineCommands(CLI::App& app, Action& chosen) {
    declareMachines(app, chosen);
    declareVersion(app, chosen);
    declareMeters(app, chosen);
    declareValue(app, chosen);
    declareListByFields(app, chosen);
    declareListByNumbers(app, chosen);
    declareTimes(app, chosen);
    declareRaw(app, chosen);
}

}  // namespace dornctl
