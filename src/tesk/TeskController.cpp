#include "tesk/TeskController.h"

#include "config/ZqConfig.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "core/Text.h"

namespace teskd {

TeskController::TeskController(WhenLost whenLost) : whenLost_(whenLost) {
    const WriteLock lock(namesLock_);
    for (const int port : ZqConfig::get_async_ports()) {
        if (masters_.size() == ZqConfig::MOST_ASYNC_PORTS) {
            log_too_many_ports();
            return;
        }
        create_master(port);
    }
}

void TeskController::log_too_many_ports() {
    Log::write(Log::WARNING, "PORT_ASYNC lists more than %zu serial ports; the others are left out",
               ZqConfig::MOST_ASYNC_PORTS);
}

void TeskController::create_master(int port) {
    const std::string name = text::format("SlotMachine_%d", port);
    const auto [found, isNew] = masters_.try_emplace(name, *this);
    if (!isNew) return;  // the list has the port twice
    TeskMaster& master = found->second;
    master.set_address(ZqConfig::get_port_address(port));
    master.set_port(port);
    assign(name, name);
}

TeskController::~TeskController() noexcept(false) {
    shut_down();
}

void TeskController::shut_down() {
    for (auto& [name, master] : masters_) master.shut_down();
    for (auto& [name, master] : masters_) master.awaitEnd();
}

TeskMaster& TeskController::find(const std::string& identifier) {
    const ReadLock lock(namesLock_);
    const std::string fixed_name = registered(identifier);
    if (fixed_name.empty()) throw UnknownCodeIdException(identifier);
    return masters_.at(fixed_name);
}

std::string TeskController::registered(const std::string& identifier) const {
    const auto found = names_.find(identifier);
    return found == names_.end() ? std::string() : found->second;
}

void TeskController::assign(const std::string& identifier, const std::string& fixed_name) {
    names_[identifier] = fixed_name;
    masters_.at(fixed_name).set_identity(identifier);
}

void TeskController::send(const std::string& identifier, TeskPacket* packet) {
    find(identifier).submit(packet);
}

void TeskController::cancel_request(const std::string& identifier, TeskPacket* packet) {
    find(identifier).removePacket(packet);
}

void TeskController::withdraw(const void* requester) {
    for (auto& [name, master] : masters_) master.withdraw(requester);
}

std::int32_t TeskController::get_maximum(const std::string& identifier, const std::string& key) {
    return find(identifier).get_maximum(key);
}

void TeskController::update_maximum(const std::string& identifier, const std::string& key,
                                    std::int32_t value) {
    find(identifier).update_maximum(key, value);
}

void TeskController::set_maximum(const std::string& identifier, const std::string& key,
                                 std::int32_t value) {
    find(identifier).set_maximum(key, value);
}

bool TeskController::is_connected(const std::string& identifier) {
    return find(identifier).is_connected();
}

int TeskController::get_port(const std::string& identifier) {
    return find(identifier).get_port();
}

std::list<std::string> TeskController::get_identities() {
    const ReadLock lock(namesLock_);
    std::list<std::string> identities;
    for (const auto& [name, master] : masters_) identities.push_back(master.get_identity());
    return identities;
}

std::list<TeskMaster*> TeskController::get_machines() {
    std::list<TeskMaster*> machines;
    for (auto& [name, master] : masters_) machines.push_back(&master);
    return machines;
}

void TeskController::rename(const std::string& old_identifier, const std::string& new_identifier) {
    const WriteLock lock(namesLock_);
    move_name(old_identifier, new_identifier);
}

// Erases the old registration, though an empty one would mean the same: CodeIds that come and go
// must not accumulate. Erases it last: if memory runs out before, the machine still has a name and
// its next answer renames it.
void TeskController::move_name(const std::string& old_identifier,
                               const std::string& new_identifier) {
    const std::string winner = registered(old_identifier);
    if (winner.empty()) throw UnknownCodeIdException(old_identifier);
    const std::string displaced = registered(new_identifier);
    if (old_identifier == new_identifier) return;
    std::string fallback;
    if (!displaced.empty() && displaced != winner) {
        fallback = registered(displaced).empty() ? displaced : old_identifier;
        assign(fallback, displaced);
    }
    assign(new_identifier, winner);
    if (fallback != old_identifier) names_.erase(old_identifier);
}

void TeskController::bind(TeskMaster& master, const std::string& code_id) {
    // The usual case. It does not take namesLock_, so machines do not wait for each other.
    if (master.get_identity() == code_id) return;
    const WriteLock lock(namesLock_);
    const std::string identity = master.get_identity();
    if (identity != code_id) move_name(identity, code_id);
}

}  // namespace teskd
