// One simulated slot machine, behind a telnet endpoint of its own on 127.0.0.1, on a tty or on a
// pseudo-terminal.
//
// It serves one connection after the other, agrees to COM-PORT-OPTION, answers every request from
// its table and records everything. It shares no code with the daemon.
//
// Ownership: the object owns its sockets and its thread; the destructor stops it.
// Threads: all operations may be called from any thread, start() and stop() by one at a time.
// Journal and answers have their own locks; one lock guards the rest. Errors: start() and the
// constructor throw std::system_error; a connection that fails later is closed.

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "common/UniqueFd.h"
#include "tesksim/AnswerTable.h"
#include "tesksim/Faults.h"
#include "tesksim/Journal.h"
#include "tesksim/Pty.h"
#include "tesksim/SerialLine.h"

namespace tesksim {

class Session;

class Machine {
  public:
    // Repeated: an answer was sent a second time, unsolicited.
    enum class Event { Connected, Disconnected, Asked, Answered, Repeated, FaultsChanged };
    // Gets the bytes of a message, the description of changed faults, or an empty text.
    using Observer = std::function<void(Event, const std::string& text)>;

    struct Options {
        std::string codeId = "ZA000000001";
        std::uint16_t port = 0;  // 0: chosen by the kernel, then kept over restarts
        std::string tty{};       // if set: uses this tty, without telnet, instead of TCP
        SerialLine line{};       // setting of the tty
        std::string ptyLink{};   // if set: uses a pseudo-terminal; the name of its slave device
        // Called on the machine's own thread; for FaultsChanged also on the caller's.
        Observer observer{};
        std::string greeting{};  // sent unchanged at the start of every connection
    };

    // Binds the port, so that port() is known; connections are refused until start().
    explicit Machine(Options options);
    Machine();
    ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    // Start and stop may alternate; a stopped machine refuses connections.
    void start();
    void stop();
    bool isRunning() const { return thread_.joinable(); }

    std::uint16_t port() const { return port_; }  // 0 on a tty
    // The name of the machine's tty; empty on TCP.
    std::string tty() const { return pty_ ? pty_->name() : options_.tty; }
    Journal& journal() { return journal_; }
    AnswerTable& answers() { return answers_; }

    // The CodeId in all further answers.
    void setCodeId(std::string codeId);
    std::string codeId() const;

    // The faults of answers end after this number of answers; 0 means never.
    void setFaults(const Faults& faults, std::size_t answers = 0);
    void clearFaults() { setFaults(Faults{}); }
    Faults faults() const;

    // Sends bytes unsolicited and unchanged on the current connection. Without one they are
    // dropped, so call Journal::waitForConnections first.
    void inject(std::string_view bytes);
    // Closes the current connection, orderly or with a reset.
    void disconnect(bool reset = false);

  private:
    enum class Hangup { No, Orderly, Reset };

    void run();
    void acceptOne();
    void serveTty();
    void serve(Session& session);
    void exchange(Session& session);
    bool awaitAndRead(Session& session);
    void answer(Session& session, const Message& request);
    bool obeyOrders(Session& session);
    void dropOrders();
    void updateListener();
    Faults takeFaults(int id);
    // Tells the observer if their description has changed.
    void tellFaults(const Faults& before, const Faults& after) const;
    bool isStopping() const;
    bool isOnTcp() const { return options_.tty.empty() && options_.ptyLink.empty(); }
    void tell(Event event, const std::string& text = {}) const;

    const Options options_;
    std::uint16_t port_ = 0;
    Journal journal_;
    AnswerTable answers_;
    tools::UniqueFd wake_;
    std::unique_ptr<Pty> pty_;
    tools::UniqueFd reservation_;  // reserves the port while connections are refused

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    bool stopping_ = false;
    std::string codeId_;
    Faults faults_;
    std::size_t faultsLeft_ = 0;
    std::string injected_;
    Hangup hangup_ = Hangup::No;

    // Used on the machine's own thread only, while it runs.
    tools::UniqueFd listener_;

    std::thread thread_;
};

}  // namespace tesksim
