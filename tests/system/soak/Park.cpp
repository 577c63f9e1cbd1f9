#include "soak/Park.h"

namespace teskd::soak {

Park::Park(std::uint64_t seed, Stage& stage)
    : departures_(stage), codeIds_{"ZA000000001", "ZA000000002", "ZA000000003", "ZP000000004"} {
    for (std::size_t index = 0; index < kMachines; ++index) {
        machines_.push_back(
            std::make_unique<SoakMachine>(index, codeIds_[index], given_, departures_, seed));
    }
}

void Park::start() {
    for (const auto& machine : machines_) machine->start();
}

std::vector<std::uint16_t> Park::ports() const {
    std::vector<std::uint16_t> result;
    for (const auto& machine : machines_) result.push_back(machine->port());
    return result;
}

void Park::swap(std::size_t one, std::size_t other) {
    const std::lock_guard lock(swapping_);
    const std::string code = machine(one).codeId();
    machine(one).setCodeId(machine(other).codeId());
    machine(other).setCodeId(code);
}

}  // namespace teskd::soak
