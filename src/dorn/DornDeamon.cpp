#include "dorn/DornDeamon.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <list>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/time.h>
#include <unistd.h>

#include "config/ZqConfig.h"
#include "core/Attempt.h"
#include "core/AvailableMemory.h"
#include "core/DescriptorLimit.h"
#include "core/Exception.h"
#include "core/FreedMemory.h"
#include "core/Log.h"
#include "core/Version.h"
#include "dorn/Dorn.h"
#include "dorn/LocalEndpoints.h"
#include "net/Poll.h"
#include "net/StreamServerSocket.h"
#include "tesk/TeskController.h"

namespace teskd {

namespace {

constexpr std::chrono::milliseconds RETRY_PAUSE(1000);
constexpr std::chrono::milliseconds RETURN_PAUSE(5000);  // between two returns of freed memory

constexpr const char* NOT_ACCEPTED = "Cannot accept a connection";
constexpr const char* NO_THREAD = "Cannot start a thread for a connection";

std::string problem_of(std::string_view item) {
    constexpr std::size_t LONGEST = 64;  // bytes of it that are shown
    if (item.empty()) return "is empty";
    return "has \"" + std::string(item.substr(0, LONGEST)) + "\", which is no address or network";
}

}  // namespace

DornDeamon::DornDeamon(TeskController& controller, PacketContainer& engine,
                       CreatePacket createPacket)
    : Thread("DornDeamon"),
      controller_(controller),
      engine_(engine),
      createPacket_(createPacket),
      lines_(controller.get_machines().size()),
      memory_(HostLimits(lines_, availableMemory())) {}

DornDeamon::~DornDeamon() noexcept(false) {
    stop();
    awaitEnd();
    await_connections();
}

void DornDeamon::run() {
    std::optional<LocalEndpoints> endpoints;
    while (isRunning()) {
        attemptOr([&] { step(endpoints); },
                  [this](const Exception& e) {
                      log_problem(NOT_ACCEPTED, e.text());
                      pause();
                  });
        if (endpoints && endpoints->empty()) return;
    }
}

void DornDeamon::step(std::optional<LocalEndpoints>& endpoints) {
    if (!endpoints) {
        read_allowed_hosts();
        endpoints.emplace(ZqConfig::get_local_addresses());
        listeners_ = endpoints->mostListeners();
        warn_of_low_limit();
        log_little_memory();
    }
    endpoints->open();
    if (!started_) log_start(*endpoints);
    if (endpoints->empty()) return;
    for (LogSource* const log : logs()) log->report();
    serve(*endpoints);
}

DescriptorBudget DornDeamon::budget() const {
    return {descriptorLimit(), lines_, listeners_};
}

std::size_t DornDeamon::most_connections() const {
    return std::min(budget().connections(), memory_.limits().connections());
}

void DornDeamon::log_little_memory() const {
    const HostLimits& limits = memory_.limits();
    if (!limits.areReduced()) return;
    constexpr std::size_t KILOBYTE = 1024;
    Log::write(
        Log::NOTICE,
        "Little memory: %zu kB for requests of hosts, as much for answers, %zu hosts at most",
        limits.pool() / KILOBYTE, most_connections());
}

void DornDeamon::warn_of_low_limit() const {
    const DescriptorBudget budget = this->budget();
    if (!budget.carriesLines()) {
        Log::write(Log::WARNING,
                   "%zu open files at most are too few for %zu serial ports and %zu listening "
                   "addresses: not all of them may work beside %zu hosts",
                   descriptorLimit(), lines_, listeners_, budget.connections());
    } else if (budget.connections() < DescriptorBudget::FEWEST_CONNECTIONS) {
        Log::write(Log::WARNING, "%zu open files at most leave room for %zu hosts only",
                   descriptorLimit(), budget.connections());
    }
}

void DornDeamon::log_start(const LocalEndpoints& endpoints) {
    const std::string addresses = endpoints.listeningOn();
    if (addresses.empty() && !endpoints.empty()) return;
    Log::write(Log::NOTICE,
               "teskd %s has started; listening on %s; machines: %zu; notification server: %s",
               version(), addresses.empty() ? "nothing" : addresses.c_str(), lines_,
               ZqConfig::get_server_address().c_str());
    started_ = true;
}

// A list with a mistake is rejected as a whole, and only this machine may connect: a part of it
// might admit hosts that the list was meant to keep out.
void DornDeamon::read_allowed_hosts() {
    const std::optional<std::string_view> text = ZqConfig::get_hosts_allowed();
    if (!text) return;
    const std::optional<AddressList> list = AddressList::parse(*text);
    if (!list) {
        Log::write(Log::WARNING, "Only this machine itself may connect: HOSTS_ALLOWED %s",
                   problem_of(AddressList::firstMistake(*text)).c_str());
    }
    allowed_ = list.value_or(AddressList());
}

bool DornDeamon::may_connect(const Socket& connection) {
    if (!allowed_) return true;
    const std::optional<std::uint32_t> address = connection.getPeerAddress();
    if (!address) return false;  // disconnected already
    if (AddressList::isLoopback(*address) || allowed_->contains(*address)) return true;
    const in_addr bytes{htonl(*address)};
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &bytes, text, sizeof text);
    strangerLog_.notice("%s may not connect and was turned away", text);
    return false;
}

void DornDeamon::serve(LocalEndpoints& endpoints) {
    std::list<Socket*> ready = endpoints.listeners();
    std::list<Socket*> none;
    const int milliseconds = next_deadline(endpoints).pollTimeout();
    constexpr suseconds_t MICROSECONDS = 1000;  // of a millisecond
    timeval limit{milliseconds / 1000, milliseconds % 1000 * MICROSECONDS};
    Socket::select(ready, none, none, milliseconds < 0 ? nullptr : &limit, &stopEvent_);
    return_memory();
    for (Socket* socket : ready) {
        if (!isRunning()) return;
        accept_connection(dynamic_cast<StreamServerSocket&>(*socket));
    }
}

// While lines are suppressed, the wait is limited so that their number is logged after a second,
// and while many hosts are connected, so that the memory of those that leave is returned.
Deadline DornDeamon::next_deadline(const LocalEndpoints& endpoints) {
    const Deadline nextRound = endpoints.nextRound();
    if (nextRound != Deadline::never()) return nextRound;
    for (const LogSource* const log : logs()) {
        if (log->hasUnreported()) return Deadline::after(RETRY_PAUSE);
    }
    return connections_.areMany() ? Deadline::after(RETURN_PAUSE) : Deadline::never();
}

void DornDeamon::return_memory() {
    if (!nextReturn_.hasPassed()) return;
    nextReturn_ = Deadline::after(RETURN_PAUSE);
    if (connections_.haveGone()) returnFreedMemory();
}

void DornDeamon::accept_connection(StreamServerSocket& listener) {
    if (connections_.present() >= most_connections()) {
        return turn_away(listener, "Too many hosts are connected");
    }
    bool accepted = false;
    attemptOr(
        [&] {
            const Socket connection = listener.accept();
            accepted = true;
            if (may_connect(connection)) start_connection(connection);
        },
        [&](const Exception& e) {
            accepted ? log_problem(NOT_ACCEPTED, e.text()) : turn_away(listener, e.text());
        });
}

void DornDeamon::start_connection(const Socket& connection) {
    Dorn* const dorn =
        new Dorn(connection, Dorn::Context{controller_, engine_, createPacket_, stopEvent_,
                                           connections_, hostLog_, memory_});
    const int result = dorn->start();
    if (result == 0) return;
    delete dorn;
    log_problem(NO_THREAD, std::strerror(result));
}

// Closes a connection that waits in the backlog. If it cannot be accepted, it stays there and the
// listener stays readable, so the pause keeps the thread from spinning.
void DornDeamon::turn_away(const StreamServerSocket& listener, const char* problem) {
    log_problem(NOT_ACCEPTED, problem);
    if (spare_.turnAway(listener.getDescriptor())) return;
    if (Poll::wait(listener.getDescriptor(), POLLIN, Deadline::passed(), nullptr) != 0) pause();
}

void DornDeamon::log_problem(const char* what, const char* problem) {
    problemLog_.warning("%s: %s", what, problem);
}

// Sleeps if the system refuses to poll, since the caller would spin otherwise.
void DornDeamon::pause() {
    const Deadline end = Deadline::after(RETRY_PAUSE);
    if (Poll::wait(-1, 0, end, &stopEvent_) >= 0 || !isRunning()) return;
    usleep(static_cast<useconds_t>(std::chrono::microseconds(RETRY_PAUSE).count()));
}

}  // namespace teskd
