// The gateway's machines and their states.
//
// Ownership: plain values. Threads: one user at a time. Errors: what Dialogue throws.

#pragma once

#include <string>
#include <vector>

#include "dornctl/Dialogue.h"
#include "host/Table.h"

namespace dornctl {

enum class MachineState {
    Known,       // it answered its last request
    Failed,      // it has answered before, but not its last request
    Unanswered,  // it was polled, and has not answered since the gateway's start
    Unheard,     // it has not answered, and may not have been polled
};

struct ListedMachine {
    std::string name{};  // its CodeId, or "SlotMachine_n" until it has answered
    unsigned port = 0;
    MachineState state = MachineState::Known;
};

// In the order of the serial ports. A pass polls all machines, so a machine without an answer was
// polled if another one has answered a poll. To find out, the gateway's readings are requested too.
std::vector<ListedMachine> listMachines(Dialogue& dialogue);

teskhost::Table tableOf(const std::vector<ListedMachine>& machines);
// The state as a word for programs, such as "unanswered".
const char* nameOf(MachineState state);

}  // namespace dornctl
