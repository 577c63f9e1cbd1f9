#include "dorn/LocalEndpoints.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <sys/socket.h>

#include "core/Exception.h"
#include "core/Log.h"

namespace teskd {

namespace {

constexpr std::chrono::seconds RETRY_PERIOD{1};

}  // namespace

LocalEndpoints::LocalEndpoints(const std::list<std::string>& addresses) {
    std::set<std::string> known;
    for (const std::string& address : addresses) {
        if (known.insert(address).second) waiting_.push_back({.address = address});
    }
    untried_ = waiting_.size();
}

std::size_t LocalEndpoints::mostListeners() const {
    return std::min(waiting_.size() + listening_.size(), MOST_LISTENERS);
}

void LocalEndpoints::open() {
    if (!nextRound().hasPassed()) return;
    nextRound_ = Deadline::after(RETRY_PERIOD);
    log_.report();
    for (std::size_t tries = std::min(waiting_.size(), TRIES_PER_ROUND); tries > 0; --tries) {
        if (listening_.size() == MOST_LISTENERS) return giveUpTheRest();
        openFirst();
    }
}

Deadline LocalEndpoints::nextRound() const {
    if (waiting_.empty()) return Deadline::never();
    return untried_ > 0 ? Deadline::passed() : nextRound_;
}

// An address that cannot be opened goes to the end of the list, behind the others.
void LocalEndpoints::openFirst() {
    Endpoint& first = waiting_.front();
    listenOn(first);
    if (untried_ > 0) --untried_;
    std::list<Endpoint>& next = first.socket ? listening_ : waiting_;
    next.splice(next.end(), waiting_, waiting_.begin());
}

void LocalEndpoints::listenOn(Endpoint& endpoint) {
    try {
        endpoint.socket = std::make_unique<StreamServerSocket>(endpoint.address, AF_INET);
    } catch (const Exception& e) {
        if (endpoint.problem == e.getMessage()) return;  // a retry; logged already
        endpoint.problem = e.getMessage();
        log_.warning("Cannot listen on %s: %s", endpoint.address.c_str(), endpoint.problem.c_str());
    }
}

void LocalEndpoints::giveUpTheRest() {
    Log::write(Log::WARNING, "Listening on %zu addresses; %zu more are left out", listening_.size(),
               waiting_.size());
    waiting_.clear();
    untried_ = 0;
}

std::string LocalEndpoints::listeningOn() const {
    std::string addresses;
    for (const Endpoint& endpoint : listening_) {
        if (!addresses.empty()) addresses += ", ";
        addresses += endpoint.address;
    }
    return addresses;
}

std::list<Socket*> LocalEndpoints::listeners() const {
    std::list<Socket*> sockets;
    for (const Endpoint& endpoint : listening_) sockets.push_back(endpoint.socket.get());
    return sockets;
}

}  // namespace teskd
