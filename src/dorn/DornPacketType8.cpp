#include "dorn/DornPacketType8.h"

#include <list>

#include "dorn/DornBody.h"
#include "tesk/TeskController.h"
#include "tesk/TeskMaster.h"

namespace teskd {

namespace {

std::string record(const std::string& name, const TeskMaster& machine) {
    std::string bytes = dornbody::name_field(name);
    bytes.push_back(static_cast<char>(machine.get_port()));
    bytes.push_back(0);
    bytes.push_back(machine.is_connected() ? 0 : 1);
    return bytes;
}

}  // namespace

// Takes all names in one step: if a name moved to another machine in between, it could appear twice
// or not at all.
void DornPacketType8::offer_to_controller(TeskController& controller) {
    const std::list<TeskMaster*> machines = controller.get_machines();
    const std::list<std::string> names = controller.get_identities();
    std::string body(1, static_cast<char>(machines.size()));
    auto name = names.begin();
    for (const TeskMaster* const machine : machines) body += record(*name++, *machine);
    set_frame_body(body);
    notifyCompleted();
}

}  // namespace teskd
