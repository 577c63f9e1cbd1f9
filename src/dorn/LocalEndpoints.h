// The addresses on which hosts connect.
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>

#include "core/Deadline.h"
#include "core/LogSource.h"
#include "net/StreamServerSocket.h"

namespace teskd {

// Listens on every configured address that the system has. An address that cannot be bound is
// logged once and retried every second. The list may have any length: it is tried in small rounds,
// so that hosts are served and a stop is noticed between them, and the number of listeners is
// bounded.
//
// Owner: the DornDeamon's run. Threads: its own. Locks: none.
class LocalEndpoints {
  public:
    static constexpr std::size_t MOST_LISTENERS = 64;
    static constexpr std::size_t TRIES_PER_ROUND = 256;

    // addresses: "host:port"; duplicates are ignored.
    explicit LocalEndpoints(const std::list<std::string>& addresses);
    LocalEndpoints(const LocalEndpoints&) = delete;
    LocalEndpoints& operator=(const LocalEndpoints&) = delete;

    // True when there is nothing to listen on, now or later.
    bool empty() const { return waiting_.empty() && listening_.empty(); }

    // The most listeners that there may be, now or later.
    std::size_t mostListeners() const;

    // One round of tries, when one is due.
    void open();
    // When the next round is due; never when every address is listened on.
    Deadline nextRound() const;

    // The addresses that hosts can connect to now, separated by commas.
    std::string listeningOn() const;

    // For Socket::select.
    std::list<Socket*> listeners() const;

  private:
    struct Endpoint {
        std::string address;
        std::unique_ptr<StreamServerSocket> socket{};  // null while the address cannot be bound
        std::string problem{};                         // the reason, as it was logged last
    };

    void openFirst();
    void listenOn(Endpoint& endpoint);
    void giveUpTheRest();

    std::list<Endpoint> waiting_;  // in the order in which they are tried next
    std::list<Endpoint> listening_;
    std::size_t untried_ = 0;  // how many of the first ones were never tried
    Deadline nextRound_ = Deadline::passed();
    LogSource log_{16};
};

}  // namespace teskd
