#include "dorn/DornDeamon.h"

#include <cstring>
#include <exception>
#include <sys/socket.h>

#include "config/ZqConfig.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "dorn/Dorn.h"
#include "net/Poll.h"
#include "net/StreamServerSocket.h"

namespace teskd {

namespace {

constexpr timeval RETRY_PERIOD{1, 0};  // between two attempts at what failed
constexpr int RETRY_MILLISECONDS = 1000;

}  // namespace

DornDeamon::DornDeamon(TeskController& controller, Aams& engine)
    : Thread("DornDeamon"), controller_(controller), engine_(engine) {}

DornDeamon::~DornDeamon() noexcept(false) {
    stop();
    awaitEnd();
    await_connections();
}

void DornDeamon::run() {
    std::list<Endpoint> endpoints;
    for (const std::string& address : ZqConfig::get_local_addresses()) {
        endpoints.push_back({address, nullptr, {}});
    }
    if (endpoints.empty()) return;
    while (isRunning()) {
        open_endpoints(endpoints);
        connections_.notices().report();
        try {
            serve(endpoints);
        } catch (const Exception& e) {
            pause_after(e.getMessage());
        } catch (const std::exception& e) {
            pause_after(e.what());
        }
    }
}

void DornDeamon::open_endpoints(std::list<Endpoint>& endpoints) {
    for (Endpoint& endpoint : endpoints) {
        if (!endpoint.socket) open(endpoint);
    }
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

// Waits for a second at most: then what failed is tried again, and what was left out of the log is
// counted there.
void DornDeamon::serve(std::list<Endpoint>& endpoints) {
    std::list<Socket*> ready;
    std::list<Socket*> none;
    for (const Endpoint& endpoint : endpoints) {
        if (endpoint.socket) ready.push_back(endpoint.socket.get());
    }
    timeval retry = RETRY_PERIOD;
    Socket::select(ready, none, none, &retry, &stopEvent_);
    for (Socket* socket : ready) {
        if (!isRunning()) return;
        accept_connection(dynamic_cast<StreamServerSocket&>(*socket));
    }
}

void DornDeamon::accept_connection(StreamServerSocket& listener) {
    const Socket connection = listener.accept();
    Dorn* const dorn =
        new Dorn(connection, Dorn::Surroundings{controller_, engine_, stopEvent_, connections_});
    const int result = dorn->start();
    if (result == 0) return;
    delete dorn;
    if (!connections_.notices().allows()) return;
    Log::write(Log::WARNING, "Cannot start a thread for a connection: %s", std::strerror(result));
}

// Whatever is missing (descriptors, memory) is not asked for again at full speed.
void DornDeamon::pause_after(const std::string& problem) {
    Log::write(Log::WARNING, "Cannot accept a connection: %s", problem.c_str());
    Poll::wait(-1, 0, RETRY_MILLISECONDS, &stopEvent_);
}

}  // namespace teskd
