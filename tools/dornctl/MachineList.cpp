#include "dornctl/MachineList.h"

#include <algorithm>

#include "host/AamsContent.h"

namespace dornctl {

using namespace teskhost;

namespace {

constexpr int kReadings = 502;

// Only a machine that answered a poll has a reading.
bool somebodyAnsweredAPoll(Dialogue& dialogue) {
    const Round round = dialogue.ask({{.request = Request::aams(kReadings, "")}});
    const std::vector<Frame>& frames = round.all.front().regular;
    if (frames.empty()) return false;
    return !AamsContent::decode(AamsMessage::decode(frames.front().body)).readings.empty();
}

MachineState stateOf(const MachinesAnswer::Machine& machine, bool polled) {
    if (machine.known) return MachineState::Known;
    if (machine.named()) return MachineState::Failed;
    return polled ? MachineState::Unanswered : MachineState::Unheard;
}

const char* sentenceFor(MachineState state) {
    switch (state) {
        case MachineState::Known:
            return "known";
        case MachineState::Failed:
            return "not known: its last answer did not come";
        case MachineState::Unanswered:
            return "not known: asked, and no answer since the gateway's start";
        case MachineState::Unheard:
            break;
    }
    return "not known: not asked yet, or no answer";
}

}  // namespace

std::vector<ListedMachine> listMachines(Dialogue& dialogue) {
    const MachinesAnswer answer = dialogue.machines();
    const auto nameless = [](const auto& machine) { return !machine.named(); };
    const bool doubt = std::any_of(answer.machines.begin(), answer.machines.end(), nameless);
    const bool polled = doubt && somebodyAnsweredAPoll(dialogue);
    std::vector<ListedMachine> result;
    for (const auto& machine : answer.machines) {
        result.push_back({machine.wholeName(), machine.port, stateOf(machine, polled)});
    }
    return result;
}

Table tableOf(const std::vector<ListedMachine>& machines) {
    Table table({{"machine"}, {"serial port", Table::Align::Right}, {"state"}});
    for (const ListedMachine& machine : machines) {
        const bool known = machine.state == MachineState::Known;
        table.add({machine.name, std::to_string(machine.port), sentenceFor(machine.state)},
                  known ? Table::Tone::Plain : Table::Tone::Bad);
    }
    return table;
}

const char* nameOf(MachineState state) {
    constexpr const char* kNames[] = {"known", "failed", "unanswered", "unheard"};
    return kNames[static_cast<int>(state)];
}

}  // namespace dornctl
