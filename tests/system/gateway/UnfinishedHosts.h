// Hosts that begin a request and never finish it.

#pragma once

#include <chrono>
#include <cstddef>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "gateway/Gateway.h"

namespace teskd::test {

// Connects that many hosts, which send the bytes at the same time, as far as the daemon reads them
// within three seconds. They stay connected for as long as the result lives.
inline std::vector<HostClient> connectUnfinished(Gateway& gateway, std::size_t count,
                                                 const std::string& bytes) {
    using namespace std::chrono_literals;
    std::vector<HostClient> hosts;
    while (hosts.size() < count) hosts.push_back(gateway.host());
    std::vector<std::jthread> senders;
    for (HostClient& host : hosts) {
        senders.emplace_back([&host, &bytes] {
            try {
                host.connection().sendAll(bytes, 3s);
            } catch (const std::exception&) {
                // Not read to the end.
            }
        });
    }
    senders.clear();
    return hosts;
}

}  // namespace teskd::test
