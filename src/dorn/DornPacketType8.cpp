#include "dorn/DornPacketType8.h"

#include <list>

#include "core/Exception.h"
#include "core/Text.h"
#include "tesk/TeskController.h"

namespace teskd {

namespace {

constexpr std::size_t NAME_SIZE = 11;

std::string record(TeskController& controller, const std::string& name) {
    int port = 0;
    bool known = false;
    try {
        port = controller.get_port(name);
        known = controller.is_connected(name);
    } catch (const UnknownCodeIdException&) {
        // Renamed since the machines were listed: shown under the name it had, as not known.
    }
    std::string bytes = text::zeroFilled(name, NAME_SIZE);
    bytes.push_back(static_cast<char>(port));
    bytes.push_back(0);
    bytes.push_back(known ? 0 : 1);
    return bytes;
}

}  // namespace

void DornPacketType8::offer_to_controller(TeskController& controller) {
    const std::list<std::string> names = controller.get_identities();
    std::string body(1, static_cast<char>(names.size()));
    for (const std::string& name : names) body += record(controller, name);
    set_frame_body(body);
    notifyCompleted();
}

}  // namespace teskd
