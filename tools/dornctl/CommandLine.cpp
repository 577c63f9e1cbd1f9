#include "dornctl/CommandLine.h"

#include <iostream>
#include <system_error>

#include "dornctl/AamsCommands.h"
#include "dornctl/Arguments.h"
#include "dornctl/Listen.h"
#include "dornctl/MachineCommands.h"
#include "dornctl/Problem.h"
#include "dornctl/Watch.h"
#include "host/DecodeError.h"
#include "host/HostLink.h"
#include "host/Table.h"

namespace dornctl {

namespace {

constexpr int kLongestTimeout = 86400000;

constexpr char kFooter[] =
    "Examples:\n"
    "  dornctl --host 192.168.0.10:5001 machines\n"
    "  dornctl meters ZA000000001\n"
    "  dornctl --json readings\n"
    "\"dornctl SUBCOMMAND --help\" tells more about each.\n"
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
    app_.fallthrough();  // for the subcommands that are made from here on
    app_.require_subcommand(1);
    declareOptions();
    declareMachineCommands(app_, chosen_);
    declareAamsCommands(app_, chosen_);
    declareWatch(app_, chosen_);
    declareListen(app_, chosen_);
    app_.footer(kFooter);
}

void CommandLine::declareOptions() {
    app_.add_option_function<std::string>(
            "--host",
            [this](const std::string& text) { settings_.host = teskhost::Endpoint::parse(text); },
            "The gateway's address and port")
        ->check(arguments::endpoint)
        ->type_name("ADDRESS:PORT")
        ->default_str(settings_.host.text());
    app_.add_option_function<int>(
            "--timeout", [this](int value) { settings_.timeout = Milliseconds(value); },
            "Milliseconds to wait for the connection and for each frame; 305000 for lists and "
            "15000 for all else without it")
        ->transform(arguments::number(1, kLongestTimeout))
        ->type_name("MS");
    app_.add_flag("--json", settings_.json, "Print JSON instead of tables");
    app_.add_flag("--progress", settings_.progress,
                  "Tell on standard error what has come, also without a terminal");
}

ExitStatus CommandLine::run(int argc, char** argv) {
    try {
        app_.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return refuse(error);
    }
    return obey();
}

ExitStatus CommandLine::fail(ExitStatus status, const std::string& what) const {
    tell({status, "", what}, settings_);
    return status;
}

// Help is asked for with an error too.
ExitStatus CommandLine::refuse(const CLI::ParseError& error) {
    const std::vector<std::string> unknown = app_.remaining();
    if (app_.get_subcommands().empty() && error.get_exit_code() != 0 && !unknown.empty()) {
        return fail(ExitStatus::BadArguments, "no subcommand is called \"" + unknown.front() +
                                                  "\"; \"dornctl --help\" lists them");
    }
    return app_.exit(error) == 0 ? ExitStatus::Success : ExitStatus::BadArguments;
}

ExitStatus CommandLine::obey() {
    try {
        const ExitStatus status = chosen_(settings_);
        std::cout.flush();
        return std::cout ? status : fail(ExitStatus::Failure, "the output is not taken");
    } catch (const teskhost::DecodeError& e) {
        return fail(ExitStatus::Failure,
                    "the answer is not understood: " + teskhost::printable(e.what()));
    } catch (const teskhost::LinkError& e) {
        return fail(ExitStatus::NoConnection, settings_.host.text() + ": " + e.what());
    } catch (const std::system_error& e) {
        return fail(ExitStatus::NoConnection, std::string("no connection: ") + e.what());
    } catch (const std::exception& e) {
        return fail(ExitStatus::Failure, e.what());
    }
}

}  // namespace dornctl
