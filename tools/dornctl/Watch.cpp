#include "dornctl/Watch.h"

#include <iostream>
#include <memory>
#include <unistd.h>

#include "dornctl/Arguments.h"
#include "dornctl/Colours.h"
#include "dornctl/Dialogue.h"
#include "dornctl/EndSignals.h"
#include "dornctl/Json.h"
#include "dornctl/MachineList.h"
#include "dornctl/Now.h"

namespace dornctl {

using namespace teskhost;

namespace {

constexpr char kClearScreen[] = "\x1B[H\x1B[2J";
constexpr Milliseconds kPatience{5000};
constexpr int kLongestInterval = 86400000;
constexpr int kMostTables = 1000000000;

struct Options {
    int interval = 2000;
    unsigned count = 0;  // 0: without limit
};

class Watch {
  public:
    Watch(const Settings& settings, const Options& options)
        : settings_(settings), options_(options), onTerminal_(::isatty(STDOUT_FILENO) != 0) {}

    ExitStatus run() {
        print(question());
        for (unsigned n = 1; n != options_.count && std::cout; ++n) {
            if (signals_.arriveWithin(Milliseconds(options_.interval))) break;
            again();
        }
        return ExitStatus::Success;
    }

  private:
    // Uses a new connection each time, because the gateway may restart meanwhile.
    std::vector<ListedMachine> question() const {
        const EndSignals::AtOnce atOnce;  // all output is flushed here
        Dialogue dialogue(settings_, kPatience);
        return listMachines(dialogue);
    }

    void again() const {
        try {
            print(question());
        } catch (const std::exception& e) {
            const std::string stamp = settings_.json ? "" : nowText() + ": ";
            tell({ExitStatus::NoConnection, "", stamp + e.what()}, settings_);
        }
    }

    void print(const std::vector<ListedMachine>& machines) const {
        if (settings_.json) {
            Json json = documentOf(settings_);
            json["machines"] = listOf(machines);
            std::cout << textOf(json, -1) << std::flush;
            return;
        }
        if (onTerminal_) std::cout << kClearScreen;
        std::cout << settings_.host.text() << "  " << nowText() << "\n\n"
                  << tableOf(machines).text(0, wantsColours(STDOUT_FILENO))
                  << (onTerminal_ ? "" : "\n") << std::flush;
    }

    const Settings settings_;
    const Options options_;
    const bool onTerminal_;
    const EndSignals signals_;
};

}  // namespace

void declareWatch(CLI::App& app, Action& chosen) {
    const auto options = std::make_shared<Options>();
    CLI::App& command = *app.add_subcommand("watch", "The table of machines, repeatedly");
    command.add_option("--interval", options->interval, "Milliseconds between two tables")
        ->transform(arguments::number(100, kLongestInterval))
        ->type_name("MS")
        ->capture_default_str();
    command.add_option("--count", options->count, "End after this many tables; 0 for no end")
        ->transform(arguments::number(0, kMostTables))
        ->type_name("N")
        ->capture_default_str();
    command.footer("Examples:\n  dornctl watch\n  dornctl --json watch --interval 500 --count 10");
    command.callback([&chosen, options] {
        chosen = [options](const Settings& settings) { return Watch(settings, *options).run(); };
    });
}

}  // namespace dornctl
