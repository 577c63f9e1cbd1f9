#include "config/ZqConfig.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <limits>
#include <string_view>

#include "config/ConfigDefaults.h"
#include "config/ConfigFile.h"
#include "config/IniFormat.h"
#include "config/SystemDate.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "core/SerialSetting.h"
#include "core/SystemPath.h"
#include "core/Text.h"

namespace teskd {

namespace {

constexpr unsigned MOST_SYNTAX_ERRORS = 20;  // of one file that are logged one by one

constexpr const char* LIST_SEPARATORS = " ,;";
constexpr const char* MAC_KEY = "[INTERNAL] MAC_ADDR_";

constexpr int MILLISECONDS_PER_SECOND = 1000;
constexpr std::size_t SHORTEST_DATE = 10;  // digits before the last blank

std::string format_local_time(const char* format) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[32];
    return {text, std::strftime(text, sizeof text, format, &local)};
}

// "YYMMDDHHMMSS" with a blank between the pairs; a shorter text gets only those that fit.
std::string spaced(std::string text) {
    for (const std::size_t position : {10U, 8U, 6U, 4U, 2U}) {
        if (position <= text.size()) text.insert(position, " ");
    }
    return text;
}

// The path, with the reason behind it if it cannot be read.
std::string with_problem(const std::string& path) {
    if (ConfigFile::read(path)) return path;
    return path + " (" + std::strerror(errno) + ")";
}

}  // namespace

ZqConfig& getConfig() {
    static ZqConfig config;
    return config;
}

ZqConfig::ZqConfig() {
    storeDefaults(*this);
    const std::string directory = systemPath(CONFIG_DIRECTORY);
    merge(systemPath(MAIN_FILE));
    merge(directory + SOFTWARE_UPDATE_FILE);
    const std::string name = at(KEY_CONFIG_FILE);
    if (!name.empty()) merge(directory + name);
    write_software_update_file();
    write_file(systemPath(DUMP_FILE), *this);
}

// A file that was not read may have restricted the hosts, so none of them gets in.
void ZqConfig::merge(const std::string& path) {
    if (!parse_file(path, *this)) insert_or_assign(KEY_HOSTS_ALLOWED, HOSTS_UNREADABLE);
}

// Stores the current stamp in both places, so that the next start sees a difference only after an
// update; the map itself keeps the previous stamp for this run.
void ZqConfig::write_software_update_file() const {
    const std::string& current = at(KEY_UPDATE_B);
    const Map stamps{{KEY_UPDATE_A, current}, {KEY_UPDATE_B, current}};
    const std::string path = systemPath(CONFIG_DIRECTORY) + SOFTWARE_UPDATE_FILE;
    if (!ConfigFile::update(path, IniFormat::format(stamps))) log_unwritten(path);
}

bool ZqConfig::parse_file(const std::string& path, Map& map) {
    const std::optional<std::string> content = ConfigFile::read(path);
    if (content) {
        parse_text(*content, path, map);
        return true;
    }
    if (errno == ENOENT || errno == ENOTDIR) return true;
    Log::write(Log::WARNING, "ZqConfig: Cannot read %s: %s", path.c_str(), std::strerror(errno));
    return false;
}

void ZqConfig::parse_text(const std::string& text, const std::string& path, Map& map) {
    unsigned errors = 0;
    const auto report = [&](unsigned line) {
        if (++errors > MOST_SYNTAX_ERRORS) return;
        Log::write(Log::WARNING, "ZqConfig: Section syntax error: %s:%u", path.c_str(), line);
    };
    IniFormat::parse(text, map, report, storesEmptyValue);
    if (errors <= MOST_SYNTAX_ERRORS) return;
    Log::write(Log::WARNING, "ZqConfig: %u more section syntax errors: %s",
               errors - MOST_SYNTAX_ERRORS, path.c_str());
}

void ZqConfig::write_file(const std::string& path, const Map& map) {
    if (!ConfigFile::replace(path, IniFormat::format(map))) log_unwritten(path);
}

void ZqConfig::log_unwritten(const std::string& path) {
    Log::write(Log::WARNING, "ZqConfig: Cannot write %s: %s", path.c_str(), std::strerror(errno));
}

const std::string& ZqConfig::value_of(const std::string& key) {
    static const std::string absent;
    const ZqConfig& config = getConfig();
    const auto found = config.find(key);
    return found == config.end() ? absent : found->second;
}

bool ZqConfig::is_tesk_enabled() {
    return value_of(KEY_ENABLE) == "true";
}

std::string ZqConfig::why_disabled() {
    const std::string named = systemPath(CONFIG_DIRECTORY) + value_of(KEY_CONFIG_FILE);
    return text::format("%s is \"%.40s\", not \"true\"; it is set in %s or %s", KEY_ENABLE,
                        value_of(KEY_ENABLE).c_str(), with_problem(systemPath(MAIN_FILE)).c_str(),
                        with_problem(named).c_str());
}

std::string ZqConfig::get_server_address() {
    return value_of("[IP_ADDRESS] IP_SERVER") + ":" + value_of("[IP_ADDRESS] UDP_SERVER");
}

std::list<std::string> ZqConfig::get_local_addresses() {
    return pair_endpoints(value_of("[IP_ADDRESS] IP_LOCAL"), value_of("[IP_ADDRESS] TCP_LOCAL"));
}

std::optional<std::string_view> ZqConfig::get_hosts_allowed() {
    const auto found = getConfig().find(KEY_HOSTS_ALLOWED);
    if (found == getConfig().end()) return {};
    return found->second;
}

std::list<std::string> ZqConfig::pair_endpoints(const std::string& addressList,
                                                const std::string& portList) {
    const auto ports = split_list(portList);
    std::list<std::string> endpoints;
    std::string port;
    auto nextPort = ports.begin();
    for (const std::string& address : split_list(addressList)) {
        if (nextPort != ports.end()) port = *nextPort++;
        endpoints.push_back(address + ":" + port);
    }
    return endpoints;
}

std::vector<std::string> ZqConfig::split_list(const std::string& list) {
    const auto items = text::splitDroppingEmpty(list, LIST_SEPARATORS);
    return {items.begin(), items.end()};
}

std::vector<int> ZqConfig::get_async_ports() {
    const std::string list = value_of("[SLOT_MACHINE] PORT_ASYNC");
    std::vector<int> ports;
    for (const std::string_view item : text::splitDroppingEmpty(list, LIST_SEPARATORS)) {
        ports.push_back(text::toInt(item));
    }
    return ports;
}

std::string ZqConfig::get_port_address(int n) {
    return value_of(portKey(n, "IP_ADDRESS")) + ":" + value_of(portKey(n, "TCP_PORT"));
}

int ZqConfig::port_setting(int n, const char* name) {
    return serialSettingValue(value_of(portKey(n, name)));
}

int ZqConfig::get_port_baudrate(int n) {
    return port_setting(n, "BAUDRATE");
}
int ZqConfig::get_port_datasize(int n) {
    return port_setting(n, "DATASIZE");
}
int ZqConfig::get_port_parity(int n) {
    return port_setting(n, "PARITY");
}
int ZqConfig::get_port_stopsize(int n) {
    return port_setting(n, "STOPSIZE");
}
int ZqConfig::get_port_flowcontrol(int n) {
    return port_setting(n, "FLOWCONTROL");
}

std::uint32_t ZqConfig::get_tout_ora_ms() {
    const std::int64_t milliseconds =
        std::int64_t{text::toInt(value_of("[RICH_ORA] TOUT_ORA"))} * MILLISECONDS_PER_SECOND;
    constexpr std::int64_t HIGHEST = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::clamp(milliseconds, std::int64_t{0}, HIGHEST));
}

int ZqConfig::get_tmp_app_collegati() {
    const int minutes = text::toInt(value_of("[AAMS] TMP_APP_COLLEGATI"));
    return minutes == 0 ? 1 : minutes;
}

bool ZqConfig::get_invio_app_collegati() {
    return text::toInt(value_of("[AAMS] INVIO_APP_COLLEGATI")) != 0;
}

bool ZqConfig::get_invio_no_app_collegati() {
    return text::toInt(value_of("[AAMS] INVIO_NO_APP_COLLEGATI")) != 0;
}

int ZqConfig::get_tmp_app_accensione() {
    return text::toInt(value_of("[AAMS] TMP_APP_ACCENSIONE"));
}

std::string ZqConfig::get_mac_string(const std::string& interface) {
    std::string digits = value_of(MAC_KEY + interface);
    std::erase(digits, ':');
    return digits;
}

void ZqConfig::get_mac_bytes(const std::string& interface, std::array<std::uint8_t, 6>& out) {
    std::string_view rest = value_of(MAC_KEY + interface);
    for (std::uint8_t& byte : out) {
        const std::string_view item = text::takePiece(rest, ":");
        if (item.empty()) return;
        byte = static_cast<std::uint8_t>(text::toInt(item, 16));
    }
}

std::string ZqConfig::get_model() {
    return value_of("[INTERNAL] ZQ_MODEL");
}
std::string ZqConfig::get_sw_version() {
    return value_of("[INTERNAL] ZQ_SW_VERSION");
}
std::string ZqConfig::get_manufacturer_id() {
    return value_of("[INTERNAL] ZQ_MANUFACTURER_ID");
}
std::string ZqConfig::get_tesk_connection_type() {
    return value_of("[INTERNAL] TESK_CONNECTION_TYPE");
}
std::string ZqConfig::get_zq_connection_type() {
    return value_of("[INTERNAL] ZQ_CONNECTION_TYPE");
}
std::string ZqConfig::get_sw_update() {
    return value_of(KEY_UPDATE_B);
}

bool ZqConfig::is_sw_updated() {
    return value_of(KEY_UPDATE_A) != value_of(KEY_UPDATE_B);
}

std::string ZqConfig::get_current_date_time() {
    return format_local_time("%y%m%d%H%M%S");
}

std::string ZqConfig::get_current_date() {
    return format_local_time("%d.%m.%y");
}

void ZqConfig::set_current_date_time(std::string text, LogSource& log) {
    const bool hasRoomForBlanks = text.size() >= SHORTEST_DATE;
    text = spaced(std::move(text));
    log.debug("%s:%d String date is: %s",
              "static void ZqConfig::set_current_date_time(std::string)", __LINE__, text.c_str());
    std::tm date{};
    date.tm_isdst = -1;
    if (!hasRoomForBlanks) return;
    if (strptime(text.c_str(), "%y %m %d %H %M %S", &date) == nullptr) return;
    constexpr int FIRST_YEAR = 2000 - 1900;
    if (date.tm_year < FIRST_YEAR) throw ZqConfigException("Invalid year");
    const std::time_t seconds = std::mktime(&date);
    if (seconds == -1) throw ZqConfigException(std::strerror(EOVERFLOW));
    if (SystemDate::set(seconds) != 0) throw ZqConfigException(std::strerror(errno));
}

}  // namespace teskd
