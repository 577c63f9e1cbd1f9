// The answers of machines as tables, each row with its machine's name.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <vector>

#include "dornctl/MachineAnswer.h"
#include "host/Table.h"

namespace dornctl {

teskhost::Table tableOf(const std::vector<MachineAnswer<teskhost::CountersAnswer>>& answers);
teskhost::Table tableOf(const std::vector<MachineAnswer<teskhost::ValueAnswer>>& answers);
teskhost::Table tableOf(const std::vector<MachineAnswer<teskhost::TimesAnswer>>& answers);

}  // namespace dornctl
