#include "demo/FaultTour.h"

#include "host/AnswerTables.h"

namespace demo {

using namespace teskhost;

namespace {

constexpr std::size_t kSilent = 3;
constexpr std::size_t kHangingUp = 4;
constexpr std::chrono::seconds kPatience{15};  // the daemon's time-out for a machine is 10 s

}  // namespace

FaultTour::FaultTour(Scene& scene, Report& report)
    : scene_(scene), report_(report), link_(scene.daemon().port()) {}

void FaultTour::run() {
    unknownMachine();
    silentMachine();
    machineThatHangsUp();
    recovery();
}

void FaultTour::unknownMachine() {
    report_.step("A machine that does not exist");
    ask("NOBODY", Kind::UnknownMachine);
}

void FaultTour::silentMachine() {
    report_.step("A machine that takes the request and never answers; the daemon gives it 10 s");
    scene_.machines().machine(kSilent).setFaults({.silent = true});
    ask(SlotMachines::name(kSilent), Kind::TimedOut);
}

void FaultTour::machineThatHangsUp() {
    report_.step("A machine that closes its line after 12 bytes of its answer");
    scene_.machines().machine(kHangingUp).setFaults({.closeAfter = 12});
    ask(SlotMachines::name(kHangingUp), Kind::Failed);
}

// The daemon polls each of them once at once, without success. They stay unknown to hosts until a
// polling pass.
void FaultTour::recovery() {
    report_.step("Both count as not known until they answer again");
    const Frame frame = link_.ask(Request::machines());
    const MachinesAnswer answer = MachinesAnswer::decode(frame.body);
    report_.show(tableOf(answer));
    for (std::size_t n = 1; n <= SlotMachines::kCount; ++n) {
        Report::expect(answer.machines.at(n - 1).known == (n < kSilent),
                       SlotMachines::name(n) + " in its new state");
    }
    scene_.machines().machine(kSilent).clearFaults();
    scene_.machines().machine(kHangingUp).clearFaults();
}

void FaultTour::ask(const std::string& name, Kind expected) {
    const auto begin = std::chrono::steady_clock::now();
    const Frame frame = link_.ask(Request::counters(name), kPatience);
    const auto time = std::chrono::steady_clock::now() - begin;
    report_.show(Table::ofFields({{"machine asked", name},
                                  {"answer", frame.kindInWords()},
                                  {"body", std::to_string(frame.body.size()) + " bytes"},
                                  {"time", seconds(time)}}));
    Report::expect(frame.kind == expected && frame.body.empty(), "an empty answer of this kind");
}

}  // namespace demo
