#include "host/MachinesAnswer.h"

#include "host/ByteReader.h"

namespace teskhost {

namespace {

constexpr char kFixedName[] = "SlotMachine";

}  // namespace

bool MachinesAnswer::Machine::named() const {
    return known || name != kFixedName;
}

std::string MachinesAnswer::Machine::wholeName() const {
    return named() ? name : name + "_" + std::to_string(port);
}

MachinesAnswer MachinesAnswer::decode(std::string_view body) {
    ByteReader in(body);
    MachinesAnswer answer;
    answer.machines.resize(in.byte());
    for (Machine& machine : answer.machines) {
        machine.name = in.text(11);
        machine.port = in.byte();
        in.byte();
        machine.known = in.byte() == 0;
    }
    in.expectEnd();
    return answer;
}

}  // namespace teskhost
