#include "dorn/DornDeamon.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdint>
#include <cstring>
#include <exception>
#include <netinet/in.h>
#include <string>
#include <string_view>
#include <sys/socket.h>

#include "config/ZqConfig.h"
#include "core/DescriptorLimit.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "dorn/Dorn.h"
#include "net/Poll.h"
#include "net/StreamServerSocket.h"
#include "tesk/TeskController.h"

namespace teskd {

namespace {

constexpr timeval RETRY_PERIOD{1, 0};  // between two attempts at what failed
constexpr int RETRY_MILLISECONDS = 1000;

constexpr const char* NOT_ACCEPTED = "Cannot accept a connection";
constexpr const char* NO_THREAD = "Cannot start a thread for a connection";

std::string problem_of(std::string_view item) {
    constexpr std::size_t LONGEST = 64;  // bytes of it that are shown
    if (item.empty()) return "is empty";
    return "has \"" + std::string(item.substr(0, LONGEST)) + "\", which is no address or network";
}

}  // namespace

DornDeamon::DornDeamon(TeskController& controller, Aams& engine)
    : Thread("DornDeamon"),
      controller_(controller),
      engine_(engine),
      lines_(controller.get_machines().size()) {}

DornDeamon::~DornDeamon() noexcept(false) {
    stop();
    awaitEnd();
    await_connections();
}

void DornDeamon::run() {
    std::list<Endpoint> endpoints;
    bool known = false;
    while (isRunning()) {
        try {
            if (!known) {
                endpoints = configured_endpoints();
                listeners_ = endpoints.size();
                warn_of_low_limit();
                read_allowed_hosts();
            }
            known = true;
            if (endpoints.empty()) return;
            const bool complete = open_endpoints(endpoints);
            connections_.notices().report();
            strangers_.report();
            const bool told = !connections_.notices().hasLeftOut() && !strangers_.hasLeftOut();
            serve(endpoints, complete && told);
        } catch (const Exception& e) {
            log_problem(NOT_ACCEPTED, e.text());
            pause();
        } catch (const std::exception& e) {
            log_problem(NOT_ACCEPTED, e.what());
            pause();
        }
    }
}

std::list<DornDeamon::Endpoint> DornDeamon::configured_endpoints() {
    std::list<Endpoint> endpoints;
    for (const std::string& address : ZqConfig::get_local_addresses()) {
        endpoints.push_back({address, nullptr, {}});
    }
    return endpoints;
}

DescriptorBudget DornDeamon::budget() const {
    return {descriptorLimit(), lines_, listeners_};
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

// A list with a mistake in it is not half of one: whom it was meant to keep away would get in.
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
    if (!address) return false;  // it has gone already
    if (AddressList::isLoopback(*address) || allowed_->contains(*address)) return true;
    if (!strangers_.allows()) return false;
    const in_addr bytes{htonl(*address)};
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &bytes, text, sizeof text);
    Log::write(Log::NOTICE, "%s may not connect and was turned away", text);
    return false;
}

bool DornDeamon::open_endpoints(std::list<Endpoint>& endpoints) {
    for (Endpoint& endpoint : endpoints) {
        if (!endpoint.socket) open(endpoint);
    }
    return std::all_of(endpoints.begin(), endpoints.end(),
                       [](const Endpoint& endpoint) { return endpoint.socket != nullptr; });
}

void DornDeamon::open(Endpoint& endpoint) {
    try {
        endpoint.socket = std::make_unique<StreamServerSocket>(endpoint.address, AF_INET);
        endpoint.problem.clear();
    } catch (const Exception& e) {
        if (endpoint.problem == e.getMessage()) return;  // tried again, logged once
        endpoint.problem = e.getMessage();
        Log::write(Log::WARNING, "Cannot listen on %s: %s", endpoint.address.c_str(),
                   endpoint.problem.c_str());
    }
}

// Unless all is well, waits for a second at most: then what failed is tried again, and what was
// left out of the log is counted there.
void DornDeamon::serve(std::list<Endpoint>& endpoints, bool allIsWell) {
    std::list<Socket*> ready;
    std::list<Socket*> none;
    for (const Endpoint& endpoint : endpoints) {
        if (endpoint.socket) ready.push_back(endpoint.socket.get());
    }
    timeval retry = RETRY_PERIOD;
    Socket::select(ready, none, none, allIsWell ? nullptr : &retry, &stopEvent_);
    for (Socket* socket : ready) {
        if (!isRunning()) return;
        accept_connection(dynamic_cast<StreamServerSocket&>(*socket));
    }
}

void DornDeamon::accept_connection(StreamServerSocket& listener) {
    if (connections_.present() >= budget().connections()) {
        return turn_away(listener, "Too many hosts are connected");
    }
    try {
        const Socket connection = listener.accept();
        if (may_connect(connection)) start_connection(connection);
    } catch (const Exception& e) {
        turn_away(listener, e.text());
    } catch (const std::exception& e) {
        turn_away(listener, e.what());
    }
}

void DornDeamon::start_connection(const Socket& connection) {
    Dorn* const dorn =
        new Dorn(connection, Dorn::Surroundings{controller_, engine_, stopEvent_, connections_});
    const int result = dorn->start();
    if (result == 0) return;
    delete dorn;
    log_problem(NO_THREAD, std::strerror(result));
}

// A host that was accepted when something else failed is closed already. One that nobody can even
// accept is not tried again at full speed.
void DornDeamon::turn_away(const StreamServerSocket& listener, const char* problem) {
    log_problem(NOT_ACCEPTED, problem);
    if (spare_.turnAway(listener.getDescriptor())) return;
    if (Poll::wait(listener.getDescriptor(), POLLIN, 0, nullptr) != 0) pause();
}

void DornDeamon::log_problem(const char* what, const char* problem) {
    if (!problems_.allows()) return;
    Log::write(Log::WARNING, "%s: %s", what, problem);
}

void DornDeamon::pause() {
    Poll::wait(-1, 0, RETRY_MILLISECONDS, &stopEvent_);
}

}  // namespace teskd
