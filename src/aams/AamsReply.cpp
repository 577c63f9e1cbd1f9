#include "aams/AamsReply.h"

#include <vector>

#include "aams/AamsCache.h"
#include "config/ZqConfig.h"

namespace teskd::aamsreply {

namespace {

constexpr const char* SUCCESS = "00";

std::string field(const std::string& text) {
    return "-" + text;
}

std::string now_field() {
    return field(ZqConfig::get_current_date_time());
}

std::string success() {
    return mac_field() + field(SUCCESS);
}

}  // namespace

std::string mac_field() {
    return field(ZqConfig::get_mac_string(ZqConfig::IDENTIFYING_INTERFACE));
}

std::string failure(const char* code) {
    return mac_field() + field(code);
}

std::string identification() {
    return or_failure("0A", [] {
        return success() + field(ZqConfig::get_model()) + field(ZqConfig::get_sw_version()) +
               field(ZqConfig::get_sw_update()) + field(ZqConfig::get_manufacturer_id()) +
               field(ZqConfig::get_tesk_connection_type()) +
               field(ZqConfig::get_zq_connection_type()) + now_field();
    });
}

std::string connected_list(const AamsCache& cache, char state) {
    const auto codes = cache.codes();
    if (codes.empty()) return failure("0B");
    std::string body = success() + field(std::string(1, state));
    for (const std::string& code : codes) {
        for (const AamsCache::Reading& reading : cache.newest(code, 1)) {
            body += field(reading.stamp) + field(reading.message);
        }
    }
    return body + now_field();
}

std::string slot_readings(const AamsCache& cache, const std::string& code) {
    const std::vector<AamsCache::Reading> readings = cache.newest(code, AamsCache::MOST_READINGS);
    if (readings.empty()) return failure("0C");
    std::string body = success();
    for (const AamsCache::Reading& reading : readings) {
        body += field(reading.context) + field(reading.stamp) + field(reading.message);
    }
    return body + now_field();
}

std::string slot_errors(const AamsCache& cache, const std::string& code, char state) {
    std::vector<AamsCache::Reading> readings = cache.newest(code, 2);
    if (readings.empty()) return failure("0C");
    readings.resize(2);  // a machine with one reading has empty texts for the one before
    if (readings[0].errors.empty()) return failure("0E");
    std::string body = success() + field(std::string(1, state));
    for (const std::string& error : readings[0].errors) body += field(error);
    for (const AamsCache::Reading& reading : readings) {
        body += field(reading.stamp) + field(reading.message);
    }
    return body + now_field();
}

std::string external_parameters(const ExternalParameters& parameters) {
    return or_failure("0F",
                      [&] { return success() + field(parameters.to_string()) + now_field(); });
}

std::string date_not_set() {
    return failure("FF");
}

std::string nobody_answered() {
    return success() + field("4");
}

std::string failed_check(const std::string& context, const std::string& error,
                         const std::string& message) {
    return mac_field() + field(context) + field(error) + field(message) + now_field();
}

}  // namespace teskd::aamsreply
