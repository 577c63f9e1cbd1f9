// The entry point of the Tesk link: routes requests to slot machines by name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "core/ReadWriteLock.h"
#include "tesk/TeskMaster.h"

namespace teskd {

// Owns one TeskMaster per configured serial port. A machine is addressed by its fixed name
// "SlotMachine_n" until its first answer, and by its CodeId from then on.
//
// Owner: the application objects. Threads: any; the set of masters is fixed after construction.
// Locks: namesLock_, taken before the lock of a master's name and never held while a packet is
// queued. Look-ups share it; only a rename takes it exclusively.
// Errors: operations that take an identifier throw UnknownCodeIdException, and nothing else, if it
// is not registered.
class TeskController {
  public:
    // What to do when a machine that had answered fails a request.
    enum class WhenLost {
        WAIT,  // nothing: it stays disconnected until the next request is answered
        ASK,   // send it a request at once, so that it is connected again as soon as it answers
    };

    // Creates the masters for the configured ports, as far as ZqConfig::MOST_ASYNC_PORTS goes.
    // Starts no thread and opens no descriptor.
    explicit TeskController(WhenLost whenLost = WhenLost::WAIT);
    TeskController(const TeskController&) = delete;
    TeskController& operator=(const TeskController&) = delete;
    // Shuts every master down and waits for their threads.
    virtual ~TeskController() noexcept(false);

    // Queues the packet for the machine and starts its thread if that does not run.
    void send(const std::string& identifier, TeskPacket* packet);
    // The machine registered under the identifier, and all machines in the order of their fixed
    // names. For callers whose requests have to reach a machine even if it is renamed meanwhile.
    // The references are valid as long as the controller lives.
    TeskMaster& find(const std::string& identifier);
    std::list<TeskMaster*> get_machines();
    std::size_t get_machine_count() const { return masters_.size(); }
    // As send by name, for a machine that find or get_machines returned.
    static void send(TeskMaster& machine, TeskPacket* packet) { machine.submit(packet); }
    // Removes a packet from the machine's queue.
    void cancel_request(const std::string& identifier, TeskPacket* packet);
    // Removes every packet of the requester from all machines' queues, except packets that are
    // being exchanged. Listeners are not notified; see PacketContainer::withdraw.
    void withdraw(const void* requester);
    // The machine's value for the key, 0 for a new key.
    std::int32_t get_maximum(const std::string& identifier, const std::string& key);
    // Stores only what is greater; set_maximum stores in any case.
    void update_maximum(const std::string& identifier, const std::string& key, std::int32_t value);
    void set_maximum(const std::string& identifier, const std::string& key, std::int32_t value);
    // True when the machine answered the last request.
    bool is_connected(const std::string& identifier);
    // Number of the machine's serial port.
    int get_port(const std::string& identifier);
    // The current names of all machines, in the order of their fixed names.
    std::list<std::string> get_identities();

    // Registers the machine under the new identifier instead of the old one. Every machine keeps a
    // unique name: a machine that had the new identifier so far gets its fixed name back or, if
    // that is in use by another, the old identifier.
    void rename(const std::string& old_identifier, const std::string& new_identifier);
    bool asks_lost_machines() const { return whenLost_ == WhenLost::ASK; }
    // Renames the master to the CodeId of its machine, unless that is its name already.
    void bind(TeskMaster& master, const std::string& code_id);

    // Stops every master permanently, fails the queued requests and waits for the threads.
    void shut_down();

  private:
    static void log_too_many_ports();
    void create_master(int port) TESKD_REQUIRES(namesLock_);
    // The fixed name registered for the identifier, empty for none.
    std::string registered(const std::string& identifier) const TESKD_REQUIRES_SHARED(namesLock_);
    void move_name(const std::string& old_identifier, const std::string& new_identifier)
        TESKD_REQUIRES(namesLock_);
    void assign(const std::string& identifier, const std::string& fixed_name)
        TESKD_REQUIRES(namesLock_);

    const WhenLost whenLost_;
    std::map<std::string, TeskMaster> masters_;                              // by fixed name
    std::map<std::string, std::string> names_ TESKD_GUARDED_BY(namesLock_);  // to fixed name
    ReadWriteLock namesLock_;
};

}  // namespace teskd
