#include "dornctl/Listen.h"

#include <iostream>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>

#include "dornctl/Arguments.h"
#include "dornctl/EndSignals.h"
#include "dornctl/NotificationLog.h"
#include "dornctl/Now.h"

namespace dornctl {

using namespace teskhost;
using notifyserver::Notification;
using notifyserver::NotificationServer;

namespace {

constexpr int kClockNotification = 1;
constexpr int kParametersNotification = 2;

struct Options {
    Endpoint bind{"0.0.0.0", Settings::kPort};
    std::string keep{};
    std::string parameters{};
    bool setClock = false;
};

NotificationServer::Answers answersFor(const Options& options) {
    NotificationServer::Answers answers;
    if (options.setClock) {
        answers[kClockNotification] = [](const Notification&) { return nowStamp(); };
    }
    if (!options.parameters.empty()) {
        answers[kParametersNotification] = [text = options.parameters](const Notification&) {
            return text;
        };
    }
    return answers;
}

class Listen {
  public:
    Listen(const Settings& settings, const Options& options)
        : settings_(settings),
          log_(settings, options.keep),
          wake_(::eventfd(0, EFD_CLOEXEC)),
          server_(options.bind, observer(), answersFor(options)) {}

    ExitStatus run(const std::string& address) {
        tellAddress(Endpoint{address, server_.port()}.text());
        pollfd fds[] = {{signals_.fd(), POLLIN, 0}, {wake_.get(), POLLIN, 0}};
        while (::poll(fds, 2, -1) < 0) {
        }
        if (fds[1].revents == 0) return ExitStatus::Success;
        throw std::runtime_error("the output or the file cannot be written");
    }

  private:
    void tellAddress(const std::string& address) const {
        std::cerr << (settings_.json ? textOf({{"listening", address}, {"time", nowIso()}}, -1)
                                     : "dornctl: listening on " + address + '\n');
    }

    NotificationServer::Observer observer() {
        return {[this](const Notification& notification, const std::string& answer) {
                    log_.add(notification, answer);
                    if (log_.full()) ::eventfd_write(wake_.get(), 1);
                },
                [this](const std::string& sender, const std::string& problem) {
                    log_.addProblem(sender, problem);
                }};
    }

    const Settings settings_;
    // The server is the last member: its thread uses all others.
    const EndSignals signals_;
    NotificationLog log_;
    tools::UniqueFd wake_;
    NotificationServer server_;
};

void addBind(CLI::App& command, const std::shared_ptr<Options>& options) {
    command
        .add_option_function<std::string>(
            "--bind",
            [options](const std::string& text) {
                options->bind = Endpoint::parse(text, Settings::kPort);
            },
            "IPv4 address and UDP port to listen on; with port 0 the kernel chooses one")
        ->check(arguments::binding)
        ->type_name("ADDRESS[:PORT]")
        ->default_str(options->bind.text());
}

void addAnswers(CLI::App& command, const std::shared_ptr<Options>& options) {
    command
        .add_option("--parameters", options->parameters,
                    "External parameters to answer notification 2 with, such as 5!1!0!2; without "
                    "them the gateway keeps its own")
        ->check(arguments::parameters)
        ->type_name("EVERY!REPORT!UNANSWERED!FIRST");
    command.add_flag("--set-clock", options->setClock,
                     "Answer notification 1 with the time of this machine, to which the gateway "
                     "then sets its clock");
}

}  // namespace

void declareListen(CLI::App& app, Action& chosen) {
    const auto options = std::make_shared<Options>();
    CLI::App& command = *app.add_subcommand("listen", "Prints the gateway's notifications");
    addBind(command, options);
    addAnswers(command, options);
    command
        .add_option("--keep", options->keep,
                    "Also append each notification to this file, as a line of JSON")
        ->type_name("FILE");
    command.footer(
        "Examples:\n  dornctl listen\n"
        "  dornctl listen --bind 192.168.0.1 --keep notifications.jsonl\n"
        "  dornctl listen --set-clock --parameters '5!1!0!2'");
    command.callback([&chosen, options] {
        chosen = [options](const Settings& settings) {
            return Listen(settings, *options).run(options->bind.address);
        };
    });
}

}  // namespace dornctl
