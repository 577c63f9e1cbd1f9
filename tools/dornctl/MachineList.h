// The gateway's machines, and what can be known of each.
//
// Ownership: plain values. Threads: one user at a time. Errors: what Dialogue throws.

#pragma once

#include <string>
#include <vector>

#include "dornctl/Dialogue.h"
#include "host/Table.h"

namespace dornctl {

enum class MachineState {
    Known,       // its last answer came
    Failed,      // it has answered, but its last answer did not come
    Unanswered,  // it was polled, and has not answered since the gateway's start
    Unheard,     // it has not answered; whether it was asked is not known
};

struct ListedMachine {
    std::string name{};  // its CodeId, or "SlotMachine_n" as long as it has not answered
    unsigned port = 0;
    MachineState state = MachineState::Known;
};

// In the order of the serial ports. A machine that has not answered was polled if another one has
// been: a pass asks all of them. So the gateway is asked for its readings, too, if there is one.
std::vector<ListedMachine> listMachines(Dialogue& dialogue);

teskhost::Table tableOf(const std::vector<ListedMachine>& machines);
// The state as a word for programs, such as "unanswered".
const char* nameOf(MachineState state);

}  // namespace dornctl
