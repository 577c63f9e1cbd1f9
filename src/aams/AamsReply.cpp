#include "aams/AamsReply.h"

#include <vector>

#include "aams/ReadingCheck.h"

namespace teskd::aamsreply {

namespace {

std::string field(const std::string& text) {
    return "-" + text;
}

std::string success(const std::string& mac) {
    return failure(mac, "00");
}

}  // namespace

std::string address(const std::string& mac) {
    return field(mac);
}

std::string failure(const std::string& mac, const char* code) {
    return field(mac) + field(code);
}

std::string identification(const Origin& origin, const Identity& identity) {
    return success(origin.mac) + field(identity.model) + field(identity.sw_version) +
           field(identity.sw_update) + field(identity.manufacturer_id) +
           field(identity.tesk_connection_type) + field(identity.zq_connection_type) +
           field(origin.now);
}

std::string connected_list(const Origin& origin, const AamsCache& cache, char state) {
    const auto codes = cache.codes();
    if (codes.empty()) return failure(origin.mac, "0B");
    std::string body = success(origin.mac) + field(std::string(1, state));
    for (const std::string& code : codes) {
        for (const AamsCache::Reading& reading : cache.newest(code, 1)) {
            body += field(reading.stamp) + field(reading.message);
        }
    }
    return body + field(origin.now);
}

std::string slot_readings(const Origin& origin, const AamsCache& cache, const std::string& code) {
    const std::vector<AamsCache::Reading> readings = cache.newest(code, AamsCache::MOST_READINGS);
    if (readings.empty()) return failure(origin.mac, "0C");
    std::string body = success(origin.mac);
    for (const AamsCache::Reading& reading : readings) {
        body += field(reading.context) + field(reading.stamp) + field(reading.message);
    }
    return body + field(origin.now);
}

std::string slot_errors(const Origin& origin, const AamsCache& cache, const std::string& code,
                        char state) {
    std::vector<AamsCache::Reading> readings = cache.newest(code, 2);
    if (readings.empty()) return failure(origin.mac, "0C");
    readings.resize(2);  // a machine with one reading has empty texts for the one before
    if (readings[0].errors.empty()) return failure(origin.mac, "0E");
    std::string body = success(origin.mac) + field(std::string(1, state));
    for (const std::string& error : readings[0].errors) body += field(error);
    for (const AamsCache::Reading& reading : readings) {
        body += field(reading.stamp) + field(reading.message);
    }
    return body + field(origin.now);
}

std::string external_parameters(const Origin& origin, const ExternalParameters& parameters) {
    return success(origin.mac) + field(parameters.to_string()) + field(origin.now);
}

std::string date_not_set(const std::string& mac) {
    return failure(mac, "FF");
}

std::string nobody_answered(const std::string& mac) {
    return success(mac) + field("4");
}

// The message is not read from the cache, which may have dropped it already to make room for other
// machines.
std::string failed_check(const Origin& origin, const AamsCache::Reading& reading,
                         const std::string& error) {
    std::string body = field(origin.mac) + field(reading.context) + field(error) +
                       field(reading.message) + field(origin.now);
    if (error == ReadingCheck::COUNTER_WENT_BACK) {
        body += field(reading.message.substr(0, AamsCache::LONGEST_MESSAGE)) + field(reading.stamp);
    }
    return body;
}

}  // namespace teskd::aamsreply
