#include "demo/Demo.h"

#include "demo/AamsTour.h"
#include "demo/FaultTour.h"
#include "demo/HostTour.h"
#include "demo/LogExcerpt.h"

namespace demo {

using teskhost::Fields;
using teskhost::Table;

Demo::Demo(const std::filesystem::path& daemon, std::ostream& out) : report_(out), scene_(daemon) {}

void Demo::run() {
    start();
    report_.part("A host asks each of the eight request types");
    HostTour(scene_, report_).run();
    report_.part("A host asks for what cannot be had");
    FaultTour(scene_, report_).run();
    stop();

    startAgain();
    AamsTour aams(scene_, report_);
    aams.notifications();
    report_.part("AAMS: the machines are polled, and one counter went backwards");
    aams.pollingPass();
    report_.part("AAMS: a host asks 501 to 507");
    aams.requests();
    Report::expect(scene_.server().problems().empty(), "notifications that can be read");
    stop();
}

void Demo::start() {
    report_.part("The daemon starts, on files of its own and with four simulated machines");
    scene_.start();
    Fields fields = {
        {"daemon", "process " + std::to_string(scene_.daemon().pid())},
        {"its files are below", scene_.daemon().root().string()},
        {"hosts connect to", "TCP 127.0.0.1:" + std::to_string(scene_.daemon().port())},
        {"notification server", "UDP 127.0.0.1:" + std::to_string(scene_.server().port())}};
    for (std::size_t n = 1; n <= SlotMachines::kCount; ++n) {
        const std::string port = std::to_string(scene_.machines().machine(n).port());
        fields.push_back({"serial port " + std::to_string(n),
                          SlotMachines::name(n) + " behind telnet 127.0.0.1:" + port});
    }
    report_.show(Table::ofFields(fields));
    sayPolled();
}

void Demo::startAgain() {
    report_.part("AAMS: the software was changed; the daemon starts again and notifies its server");
    scene_.prepareSecondStart(AamsTour::kTurnedBack);
    scene_.start();
    sayPolled();
}

void Demo::sayPolled() {
    report_.say("After " + scene_.sinceStart(std::chrono::steady_clock::now()) +
                " the first polling pass has made all four machines known.");
}

void Demo::stop() {
    report_.part("SIGTERM");
    const auto begin = std::chrono::steady_clock::now();
    const teskd::test::ExitStatus status = scene_.daemon().stop();
    report_.say("The daemon ended after " + seconds(std::chrono::steady_clock::now() - begin) +
                ": " + status.describe() + ".");
    Report::expect(status.ok(), "exit status 0");
    report_.step("Its log, without debug lines and what the serial lines confirmed");
    report_.show(logExcerpt(scene_.daemon().log().lines()));
}

std::string Demo::daemonsStory() {
    return "The daemon's log:\n" + scene_.daemon().log().dump() + "The daemon's standard error:\n" +
           scene_.daemon().standardError();
}

}  // namespace demo
