#include "checkconf/ValueChecks.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <regex>

#include "config/ConfigDefaults.h"
#include "config/ZqConfig.h"
#include "core/Exception.h"
#include "core/SerialSetting.h"
#include "core/Text.h"
#include "net/AddressList.h"

namespace checkconf {

using teskd::portKey;
using teskd::ZqConfig;

namespace {

constexpr long kHighestPort = 65535;
constexpr long kHighestPrivilegedPort = 1023;
constexpr long kHighestNumber = std::numeric_limits<std::int32_t>::max();
constexpr char kMac[] = "[INTERNAL] MAC_ADDR_eth0";  // the one of the two that is sent to others
constexpr char kModel[] = "[INTERNAL] ZQ_MODEL";
constexpr char kVersion[] = "[INTERNAL] ZQ_SW_VERSION";
constexpr char kMaker[] = "[INTERNAL] ZQ_MANUFACTURER_ID";
constexpr char kMachineConnection[] = "[INTERNAL] TESK_CONNECTION_TYPE";
constexpr char kHostConnection[] = "[INTERNAL] ZQ_CONNECTION_TYPE";
constexpr char kServer[] = "[IP_ADDRESS] IP_SERVER";
constexpr char kServerPort[] = "[IP_ADDRESS] UDP_SERVER";
constexpr char kLocal[] = "[IP_ADDRESS] IP_LOCAL";
constexpr char kLocalPorts[] = "[IP_ADDRESS] TCP_LOCAL";
constexpr char kSerialPorts[] = "[SLOT_MACHINE] PORT_ASYNC";
constexpr char kEveryAddress[] = "*";
constexpr char kAnyAddress[] = "0.0.0.0";  // the same for the daemon
constexpr char kNone[] = "NONE";
constexpr char kSpace[] = "SPACE";

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

// Refuses leading blanks and "+", which the daemon accepts for some keys only.
bool isNumber(const std::string& text, long lowest, long highest) {
    std::int32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end && number >= lowest && number <= highest;
}

std::string noNumber(const std::string& text, long lowest, long highest) {
    return quoted(text) + " is no number from " + std::to_string(lowest) + " to " +
           std::to_string(highest);
}

// The daemon reads an invalid address as 0.0.0.0.
bool isAddress(const std::string& host) {
    in_addr address{};
    return ::inet_pton(AF_INET, host.c_str(), &address) == 1;
}

// The number that the daemon sends for a word.
std::optional<int> wordNumber(const std::string& word) {
    try {
        return teskd::serialSettingValue(word);
    } catch (const teskd::Exception&) {
        return {};
    }
}

}  // namespace

std::vector<Finding> ValueChecks::run() {
    enable();
    identity();
    texts();
    numbers();
    server();
    listeners();
    allowedHosts();
    machines();
    macAddresses();
    return findings_;
}

void ValueChecks::find(const std::string& key, const std::string& text) {
    findings_.emplace_back(settings_.get(key).place, key + ": " + text);
}

std::string ValueChecks::set(const std::string& key, const std::string& other) const {
    return settings_.isDefault(key) ? other : key;
}

void ValueChecks::enable() {
    const std::string text = value(teskd::KEY_ENABLE);
    if (text == "true") return;
    if (settings_.isDefault(teskd::KEY_ENABLE)) {
        return find(teskd::KEY_ENABLE, "no file sets it to true; the daemon is disabled");
    }
    if (text == "false") return find(teskd::KEY_ENABLE, "\"false\": the daemon is disabled");
    find(teskd::KEY_ENABLE, quoted(text) + " is neither true nor false; the daemon stays disabled");
}

// Hosts and the notification server identify a gateway by its MAC address and model. A group
// address, such as the default, and an address of zeros identify no network card.
void ValueChecks::identity() {
    static const std::regex nobodys("[0-9a-f][13579bdf]:.*|(00:){5}00", std::regex::icase);
    if (std::regex_match(value(kMac), nobodys)) {
        find(kMac, quoted(value(kMac)) +
                       " is no card's own address; hosts and the notification server cannot tell "
                       "this gateway from another one");
    }
    if (!settings_.isDefault(kModel)) return;
    find(kModel,
         "no file sets it; hosts and the notification server are told " + quoted(value(kModel)));
}

// Hosts split the identification at "-".
void ValueChecks::texts() {
    constexpr std::size_t kVersionSize = 30;
    for (const char* key :
         {kModel, kVersion, kMaker, teskd::KEY_UPDATE_B, kMachineConnection, kHostConnection}) {
        if (value(key).find('-') == std::string::npos) continue;
        find(key,
             "\"-\" separates the fields of the identification, so that hosts read the rest as the "
             "next field");
    }
    if (value(kVersion).size() <= kVersionSize) return;
    find(kVersion, "longer than 30 characters; hosts that ask for the version see no more");
}

// `below` describes the effect of a number that is too low.
void ValueChecks::number(const std::string& key, long lowest, long highest, const char* below) {
    const std::string text = value(key);
    if (isNumber(text, lowest, highest)) return;
    const long read = teskd::text::toInt(text);
    const bool tooHigh = read > highest;
    const std::string consequence = read < lowest || (tooHigh && highest == 1) ? below
                                    : tooHigh ? "it is taken for a little more than the highest"
                                              : "it is taken for " + std::to_string(read);
    find(key, noNumber(text, lowest, highest) + "; " + consequence);
}

void ValueChecks::numbers() {
    constexpr long kMostSeconds = 4294967;  // 32 bits of milliseconds
    constexpr long kMostMinutes = 71582;
    number("[RICH_ORA] TOUT_ORA", 1, kMostSeconds, "the date is asked for at the start alone");
    number("[AAMS] TMP_APP_COLLEGATI", 1, kMostMinutes, "it is taken for 1");
    number("[AAMS] TMP_APP_ACCENSIONE", 0, kMostMinutes, "it is taken for 0");
    for (const char* yesOrNo : {"[AAMS] INVIO_APP_COLLEGATI", "[AAMS] INVIO_NO_APP_COLLEGATI"}) {
        number(yesOrNo, 0, 1, "any number but 0 is yes");
    }
}

void ValueChecks::address(const std::string& key, const std::string& host) {
    if (!isAddress(host)) {
        find(key, quoted(host) + " is no IPv4 address; names are not looked up");
    }
}

void ValueChecks::serverAddress(const std::string& key) {
    address(key, value(key));
    if (value(key) == kAnyAddress) find(key, quoted(kAnyAddress) + " is no address of a server");
}

void ValueChecks::tcpPort(const std::string& key, const std::string& text) {
    if (isNumber(text, 1, kHighestPort)) return;
    find(key, quoted(text) + " is no port number from 1 to 65535");
}

void ValueChecks::server() {
    serverAddress(kServer);
    tcpPort(kServerPort, value(kServerPort));
}

void ValueChecks::listeners() {
    const auto addresses = ZqConfig::split_list(value(kLocal));
    const auto ports = ZqConfig::split_list(value(kLocalPorts));
    if (addresses.empty()) find(kLocal, "no address to listen on");
    for (const std::string& host : addresses) {
        if (host != kEveryAddress) address(kLocal, host);
    }
    for (const std::string& port : ports) {
        tcpPort(kLocalPorts, port);
        if (!isNumber(port, 1, kHighestPrivilegedPort)) continue;
        find(kLocalPorts, port +
                              " is a privileged port; the service, an ordinary user, may not "
                              "listen there");
    }
    if (ports.empty()) find(kLocalPorts, "no port to listen on");
    if (ports.size() > addresses.size()) {
        find(kLocalPorts, "more ports than addresses in " + std::string(kLocal) +
                              "; those that are left over are not used");
    }
    listenersTogether();
}

// The system refuses to listen on one address of a port that is listened on at all addresses.
void ValueChecks::listenersTogether() {
    std::map<std::string, std::vector<std::string>> hostsByPort;
    for (const std::string& endpoint :
         ZqConfig::pair_endpoints(value(kLocal), value(kLocalPorts))) {
        const std::size_t colon = endpoint.rfind(':');
        std::string host = endpoint.substr(0, colon);
        if (host == kAnyAddress) host = kEveryAddress;
        std::vector<std::string>& others = hostsByPort[endpoint.substr(colon + 1)];
        const bool taken = std::any_of(others.begin(), others.end(), [&](const auto& other) {
            return other == host || other == kEveryAddress || host == kEveryAddress;
        });
        if (taken) find(set(kLocalPorts, kLocal), "the port of " + endpoint + " is taken already");
        others.push_back(host);
    }
}

void ValueChecks::allowedHosts() {
    if (settings_.isDefault(teskd::KEY_HOSTS_ALLOWED)) return;
    const auto items = ZqConfig::split_list(value(teskd::KEY_HOSTS_ALLOWED));
    if (items.empty()) {
        find(teskd::KEY_HOSTS_ALLOWED,
             "no address and no network; nobody but this machine itself may connect");
    }
    for (const std::string& item : items) allowedHost(item);
}

void ValueChecks::allowedHost(const std::string& item) {
    const auto list = teskd::AddressList::parse(item);
    if (!list) {
        return find(teskd::KEY_HOSTS_ALLOWED,
                    quoted(item) +
                        " is no IPv4 address or network; nobody but this machine itself may "
                        "connect");
    }
    const std::string host = item.substr(0, item.find('/'));
    in_addr address{};
    ::inet_pton(AF_INET, host.c_str(), &address);
    const std::uint32_t number = ntohl(address.s_addr);
    if (number == 0 || !list->contains(number - 1)) return;
    find(teskd::KEY_HOSTS_ALLOWED, quoted(item) + " stands for its whole network, in which " +
                                       host + " is one address of many");
}

void ValueChecks::machines() {
    std::map<std::string, int> endpoints;
    std::map<int, int> seen;
    for (const std::string& item : ZqConfig::split_list(value(kSerialPorts))) {
        if (!isNumber(item, 1, kHighestNumber)) {
            find(kSerialPorts, quoted(item) + " is no number of a serial port");
            continue;
        }
        const int n = teskd::text::toInt(item);
        if (++seen[n] == 2) find(kSerialPorts, "serial port " + item + " is named twice");
        if (seen[n] > 1) continue;
        if (seen.size() == ZqConfig::MOST_ASYNC_PORTS + 1) {
            return find(kSerialPorts, "more than " + std::to_string(ZqConfig::MOST_ASYNC_PORTS) +
                                          " serial ports; the others are left out");
        }
        machine(n);
        const std::string port = portKey(n, "TCP_PORT");
        const std::string endpoint = value(portKey(n, "IP_ADDRESS")) + ":" + value(port);
        const auto [other, isNew] = endpoints.emplace(endpoint, n);
        if (isNew || endpoint == ":") continue;
        find(set(port, portKey(n, "IP_ADDRESS")), "serial ports " + std::to_string(other->second) +
                                                      " and " + item + " are both on " + endpoint);
    }
}

void ValueChecks::machine(int n) {
    const std::string host = portKey(n, "IP_ADDRESS");
    const std::string port = portKey(n, "TCP_PORT");
    if (settings_.all().count(host) == 0 || settings_.all().count(port) == 0) {
        find(kSerialPorts, "serial port " + std::to_string(n) + " has no " +
                               (settings_.all().count(host) == 0 ? host : port) +
                               ", and there is no default beyond port 4");
        return;
    }
    serverAddress(host);
    tcpPort(port, value(port));
    ownPort(n);
    lineSetting(n, "BAUDRATE", 1, kHighestNumber);
    lineSetting(n, "DATASIZE", 5, 8);
    lineSetting(n, "STOPSIZE", 1, 3);
    lineWord(portKey(n, "PARITY"), {"parity", {kNone, "ODD", "EVEN", "MARK", kSpace}});
    lineWord(portKey(n, "FLOWCONTROL"), {"flow control", {"No Flow", "XON/XOFF", "CTS/RTS"}});
}

// A serial port there would connect the daemon to itself.
void ValueChecks::ownPort(int n) {
    const std::string host = value(portKey(n, "IP_ADDRESS"));
    const std::string port = portKey(n, "TCP_PORT");
    for (const std::string& endpoint :
         ZqConfig::pair_endpoints(value(kLocal), value(kLocalPorts))) {
        const std::size_t colon = endpoint.rfind(':');
        const std::string own = endpoint.substr(0, colon);
        const bool everywhere = own == kEveryAddress || own == kAnyAddress;
        const bool same = own == host || (everywhere && host.starts_with("127."));
        if (!same || endpoint.substr(colon + 1) != value(port)) continue;
        find(set(port, kLocalPorts),
             "on " + host + ":" + value(port) + " the daemon itself listens for hosts");
    }
}

void ValueChecks::lineSetting(int n, const char* name, long lowest, long highest) {
    const std::string key = portKey(n, name);
    const std::string text = value(key);
    if (!isNumber(text, lowest, highest)) find(key, noNumber(text, lowest, highest));
}

std::string ValueChecks::listed(const LineWords& words) {
    std::string list;
    for (const std::string& word : words.values) {
        if (word != kSpace) list += (list.empty() ? "" : ", ") + word;
    }
    return list + " or a number from 1 to " + std::to_string(words.values.size()) + " is one";
}

// Accepts a word of the setting, or its number. The daemon accepts the words of both settings for
// each of them.
void ValueChecks::lineWord(const std::string& key, const LineWords& words) {
    const std::string text = value(key);
    const auto highest = static_cast<long>(words.values.size());
    const bool hasDigit = !text.empty() && text.front() >= '0' && text.front() <= '9';
    if (hasDigit) {
        if (isNumber(text, 1, highest)) return;
        return find(
            key, quoted(text) + " is no " + words.name + " from 1 to " + std::to_string(highest));
    }
    const std::optional<int> number = wordNumber(text);
    if (!number) return find(key, quoted(text) + " is no " + words.name + "; " + listed(words));
    const bool beyond = *number > highest;
    const std::string taken = beyond ? "" : words.values[static_cast<std::size_t>(*number) - 1];
    if (text == taken || (text == kNone && *number == 1)) return;
    if (text == kSpace && !beyond) {
        return find(key, quoted(text) + " is taken for " + taken + "; 5 stands for space parity");
    }
    find(key, quoted(text) + " is no " + words.name +
                  (beyond ? "; it is sent as " + std::to_string(*number) +
                                ", and the line keeps the one it has"
                          : "; it is taken for " + taken));
}

void ValueChecks::macAddresses() {
    static const std::regex form("[0-9a-fA-F]{2}(:[0-9a-fA-F]{2}){5}");
    for (const char* key : {"[INTERNAL] MAC_ADDR_eth0", "[INTERNAL] MAC_ADDR_eth1"}) {
        if (std::regex_match(value(key), form)) continue;
        find(key, quoted(value(key)) + " is no hardware address of six pairs of digits");
    }
}

}  // namespace checkconf
