// The bodies of the engine's replies and notifications.
#pragma once

#include <string>

#include "aams/AamsCache.h"
#include "aams/ExternalParameters.h"
#include "core/Attempt.h"
#include "core/Exception.h"

namespace teskd::aamsreply {

// Pure functions: they read neither the configuration nor a clock. Every body begins with "-" and
// the hardware address; fields are joined by "-". The result code is "00" for success, otherwise
// the one listed at each function.

// Where and when a body is made.
struct Origin {
    std::string mac;  // the hardware address that identifies the gateway
    std::string now;  // local time, "%y%m%d%H%M%S"
};

// What tells gateways apart besides their addresses.
struct Identity {
    std::string model;
    std::string sw_version;
    std::string sw_update;  // stamp of the installed software
    std::string manufacturer_id;
    std::string tesk_connection_type;
    std::string zq_connection_type;
};

// The hardware address alone: the body of notifications 1 and 2.
std::string address(const std::string& mac);
// The hardware address and the code.
std::string failure(const std::string& mac, const char* code);

// What build() returns, or the failure when it throws. mac() returns the hardware address.
template <class Mac, class Build>
std::string or_failure(Mac mac, const char* code, Build build) {
    std::string body;
    attemptOr([&] { body = build(); }, [&](const Exception&) { body = failure(mac(), code); });
    return body;
}

// 501: who this gateway is; notification 3.
std::string identification(const Origin& origin, const Identity& identity);
// 502: every machine's newest reading; notification 4. "0B" when there is no machine.
std::string connected_list(const Origin& origin, const AamsCache& cache, char state);
// 503: a machine's readings. "0C" for a machine without any.
std::string slot_readings(const Origin& origin, const AamsCache& cache, const std::string& code);
// 504: the errors of a machine's newest reading. "0C" for an unknown machine, "0E" without errors.
std::string slot_errors(const Origin& origin, const AamsCache& cache, const std::string& code,
                        char state);
// 505: the external parameters.
std::string external_parameters(const Origin& origin, const ExternalParameters& parameters);
// 507: "FF", the clock could not be set.
std::string date_not_set(const std::string& mac);

// Notification 4: no machine answered in a polling pass, which was not the first.
std::string nobody_answered(const std::string& mac);
// Notification 5: a failed check of the reading. If a counter went back, the body also repeats the
// message, cut as the cache cuts it, and the reading's time stamp.
std::string failed_check(const Origin& origin, const AamsCache::Reading& reading,
                         const std::string& error);

}  // namespace teskd::aamsreply
