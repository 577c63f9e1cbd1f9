// The front door of the Tesk link: routes requests to slot machines by name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <string>

#include "core/ReadWriteLock.h"
#include "tesk/TeskMaster.h"

namespace teskd {

// Owns one TeskMaster per configured serial port. A machine is addressed as "SlotMachine_n" until
// its first answer, by its CodeId from then on.
//
// Owner: the application objects. Threads: any; the set of masters is fixed after construction.
// Locks: namesLock_, taken before a master's name and never while a packet is handed over. Requests
// look names up side by side; only a rename waits for them.
// Errors: an operation that takes an identifier throws UnknownCodeIdException, and nothing else,
// for one that is not registered.
class TeskController {
  public:
    // What is done about a machine that had answered and fails a request.
    enum class WhenLost {
        WAIT,  // nothing: it is unknown until somebody asks it again
        ASK,   // it is asked at once, so that it is known again as soon as it answers
    };

    // Creates the masters for the configured ports, as far as ZqConfig::MOST_ASYNC_PORTS goes.
    // Starts no thread and opens no descriptor.
    explicit TeskController(WhenLost whenLost = WhenLost::WAIT);
    TeskController(const TeskController&) = delete;
    TeskController& operator=(const TeskController&) = delete;
    // Shuts every master down and waits for their threads.
    virtual ~TeskController() noexcept(false);

    // Queues the packet for the machine and has its thread started if it does not run.
    void send(const std::string& identifier, TeskPacket* packet);
    // The machine registered under the identifier, and every machine in the order of the fixed
    // names, for requests that have to reach it under whatever name it has by then. They stay as
    // long as the controller.
    TeskMaster& find(const std::string& identifier);
    std::list<TeskMaster*> get_machines();
    std::size_t get_machine_count() const { return masters_.size(); }
    // The same as send by name, for a machine that was found before.
    static void send(TeskMaster& machine, TeskPacket* packet) { machine.submit(packet); }
    // Takes a packet that waits for the machine out of its queue.
    void cancel_request(const std::string& identifier, TeskPacket* packet);
    // Takes every packet of the requester out of all machines' queues, those that are being
    // exchanged excepted. Nobody is told; see PacketContainer::withdraw.
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
    // Every machine's present name, in the order of the fixed names.
    std::list<std::string> get_identities();

    // Moves the machine registered under the old identifier to the new one, which becomes its name.
    // A machine that had that name so far gets its fixed name back, or the one given up here if
    // somebody uses its fixed name: every machine keeps a name of its own.
    void rename(const std::string& old_identifier, const std::string& new_identifier);
    bool asks_lost_machines() const { return whenLost_ == WhenLost::ASK; }
    // Renames the master to the CodeId of its machine, if that is not its name already.
    void bind(TeskMaster& master, const std::string& code_id);

    // Stops every master for good and waits for their threads; requests that wait are failed.
    void shut_down();

  private:
    static void log_left_out();
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
