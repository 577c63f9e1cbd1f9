#include "dornctl/CommandLine.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "core/Version.h"
#include "dornctl/AamsCommands.h"
#include "dornctl/Arguments.h"
#include "dornctl/Completion.h"
#include "dornctl/Listen.h"
#include "dornctl/MachineCommands.h"
#include "dornctl/Metrics.h"
#include "dornctl/Problem.h"
#include "dornctl/Suggestion.h"
#include "dornctl/Watch.h"
#include "host/DecodeError.h"
#include "host/HostLink.h"
#include "host/Table.h"

namespace dornctl {

using teskhost::Endpoint;

namespace {

constexpr int kLongestTimeout = 86400000;

constexpr char kFooter[] =
    "Examples:\n"
    "  dornctl --host 192.168.0.10 machines\n"
    "  dornctl meters ZA000000001\n"
    "  dornctl --json readings\n"
    "\"dornctl help SUBCOMMAND\" prints the options of one.\n"
    "\n"
    "Exit status:\n"
    "  0  answered\n"
    "  1  another failure\n"
    "  2  bad arguments; nothing was sent\n"
    "  3  no machine that was asked for is known (0xFD, AAMS 0C)\n"
    "  4  a machine gave no answer in time (0xFE)\n"
    "  5  the request failed (0xAB)\n"
    "  6  no connection, or no answer within the timeout\n"
    "  7  an AAMS reply with another result";

}  // namespace

CommandLine::CommandLine() : app_("Asks the gateway what a host can ask.", "dornctl") {
    app_.fallthrough();  // inherited by subcommands created from here on
    app_.require_subcommand(1);
    declareOptions();
    declareMachineCommands(app_, chosen_);
    declareAamsCommands(app_, chosen_);
    declareWatch(app_, chosen_);
    declareListen(app_, chosen_);
    declareMetrics(app_, chosen_);
    declareHelp();
    app_.footer(kFooter);
}

void CommandLine::declareOptions() {
    app_.add_option_function<std::string>(
            "--host",
            [this](const std::string& text) {
                settings_.host = Endpoint::parse(text, Settings::kPort);
            },
            "Address of the gateway, and its port if that is not 5001; default TESKD_HOST")
        ->check(arguments::endpoint)
        ->type_name("ADDRESS[:PORT]")
        ->default_str(settings_.host.text());
    app_.add_option_function<int>(
            "--timeout", [this](int value) { settings_.timeout = Milliseconds(value); },
            "Milliseconds to wait for the connection and for each frame; default 305000 for lists "
            "and 15000 for all others")
        ->transform(arguments::number(1, kLongestTimeout))
        ->type_name("MS");
    app_.add_flag("--json", settings_.json, "Print JSON instead of tables");
    app_.set_version_flag("--version", std::string("dornctl ") + teskd::version(),
                          "Print the version of dornctl; \"version\" asks for the gateway's");
    app_.add_flag("--progress", settings_.progress,
                  "Show the progress on standard error even without a terminal");
}

void CommandLine::declareHelp() {
    const auto about = std::make_shared<std::string>();
    CLI::App& command = *app_.add_subcommand("help", "Prints help on a subcommand, or lists all");
    command.add_option("SUBCOMMAND", *about, "The subcommand; default all");
    command.callback([this, about] {
        chosen_ = [this, about](const Settings&) { return help(std::string(*about)); };
    });
}

ExitStatus CommandLine::help(const std::string& about) {
    const std::vector<std::string> names = subcommands();
    if (!about.empty() && std::count(names.begin(), names.end(), about) == 0) {
        return failUnknown(about);
    }
    app_.clear();  // forgets the parsed subcommand, whose help would be printed instead
    std::cout << (about.empty() ? app_.help() : app_.get_subcommand(about)->help(app_.get_name()));
    return ExitStatus::Success;
}

std::vector<std::string> CommandLine::subcommands() const {
    std::vector<std::string> names;
    for (const CLI::App* const command : app_.get_subcommands({})) {
        names.push_back(command->get_name());
    }
    return names;
}

// Errors in the command line are printed as JSON, too, if it contains --json anywhere.
ExitStatus CommandLine::run(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() > 1 && words[0] == "complete" && words[1] == "--") {
        return complete({words.begin() + 2, words.end()});
    }
    try {
        app_.parse(argc, argv);
        takeEnvironment();
    } catch (const CLI::ParseError& error) {
        settings_.json = std::count(argv, argv + argc, std::string("--json")) > 0;
        return refuse(error);
    }
    return obey();
}

ExitStatus CommandLine::complete(const std::vector<std::string>& words) {
    try {
        takeEnvironment();
    } catch (const CLI::ParseError&) {
        return ExitStatus::BadArguments;
    }
    for (const std::string& line : Completion(app_, settings_).of(words)) {
        std::cout << line << '\n';
    }
    return ExitStatus::Success;
}

// An empty variable counts as unset.
void CommandLine::takeEnvironment() {
    const char* const host = std::getenv("TESKD_HOST");
    if (app_.count("--host") > 0 || host == nullptr || *host == '\0') return;
    const std::string problem = arguments::endpoint(host);
    if (!problem.empty()) throw CLI::ValidationError("TESKD_HOST", problem);
    settings_.host = Endpoint::parse(host, Settings::kPort);
}

ExitStatus CommandLine::fail(ExitStatus status, const std::string& what) const {
    tell({status, "", what}, settings_);
    return status;
}

ExitStatus CommandLine::failUnknown(const std::string& word) const {
    const std::string meant = nearest(word, subcommands());
    return fail(ExitStatus::BadArguments,
                "no subcommand is called \"" + teskhost::printable(word) + "\"; " +
                    (meant.empty() ? "" : "did you mean \"" + meant + "\"? ") +
                    "\"dornctl help\" lists them");
}

// CLI11 reports a request for help as an error, too.
ExitStatus CommandLine::refuse(const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
        app_.exit(error);
        return ExitStatus::Success;
    }
    const std::vector<CLI::App*> met = app_.get_subcommands();
    const std::vector<std::string> unknown = app_.remaining();
    if (met.empty() && !unknown.empty()) return failUnknown(unknown.front());
    const std::string about = met.empty() ? "" : " " + met.front()->get_name();
    return fail(ExitStatus::BadArguments, teskhost::printable(error.what()) + "; \"dornctl" +
                                              (met.empty() ? "" : about) +
                                              " --help\" shows what is expected");
}

ExitStatus CommandLine::obey() {
    try {
        const ExitStatus status = chosen_(settings_);
        std::cout.flush();
        return std::cout ? status : fail(ExitStatus::Failure, "standard output cannot be written");
    } catch (const teskhost::DecodeError& e) {
        return fail(ExitStatus::Failure,
                    "the answer is not understood: " + teskhost::printable(e.what()));
    } catch (const teskhost::LinkError& e) {
        return fail(ExitStatus::NoConnection, settings_.host.text() + ": " + e.what());
    } catch (const std::system_error& e) {
        return fail(ExitStatus::NoConnection, std::string("no connection: ") + e.what());
    } catch (const std::invalid_argument& e) {
        return fail(ExitStatus::BadArguments, e.what());
    } catch (const std::exception& e) {
        return fail(ExitStatus::Failure, e.what());
    }
}

}  // namespace dornctl
