// The bodies of the engine's replies and notifications.
#pragma once

#include <string>

#include "aams/ExternalParameters.h"
#include "core/Attempt.h"
#include "core/Exception.h"

namespace teskd {

class AamsCache;

// Every body begins with "-" and the hardware address; fields are joined by "-". The result code is
// "00" for success, otherwise the one listed at each function.
namespace aamsreply {

// "-" and the hardware address.
std::string mac_field();
// mac_field, "-" and the code.
std::string failure(const char* code);

// What build() returns, or the failure when it throws.
template <class Build>
std::string or_failure(const char* code, Build build) {
    std::string body;
    attemptOr([&] { body = build(); }, [&](const Exception&) { body = failure(code); });
    return body;
}

// 501: who this gateway is. "0A" when the configuration cannot be read.
std::string identification();
// 502: every machine's newest reading. "0B" when there is no machine.
std::string connected_list(const AamsCache& cache, char state);
// 503: a machine's readings. "0C" for a machine without any.
std::string slot_readings(const AamsCache& cache, const std::string& code);
// 504: the errors of a machine's newest reading. "0C" for an unknown machine, "0E" without errors.
std::string slot_errors(const AamsCache& cache, const std::string& code, char state);
// 505: the external parameters. "0F" when they cannot be read.
std::string external_parameters(const ExternalParameters& parameters);
// 507: the clock could not be set.
std::string date_not_set();

// Notification 4: no machine answered in a polling pass, which was not the first.
std::string nobody_answered();
// Notification 5: a failed check of a reading.
std::string failed_check(const std::string& context, const std::string& error,
                         const std::string& message);

}  // namespace aamsreply
}  // namespace teskd
