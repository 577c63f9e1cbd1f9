#include "config/ConfigDefaults.h"

#include "core/Text.h"

namespace teskd {

namespace {

constexpr int PORTS_WITH_DEFAULTS = 4;
constexpr int FIRST_TELNET_PORT = 2000;
constexpr int TELNET_PORT_STEP = 100;

struct Default {
    const char* key;
    const char* value;
};

constexpr Default DEFAULTS[] = {
    {KEY_ENABLE, "false"},
    {"[IP_ADDRESS] IP_SERVER", "192.168.0.1"},
    {"[IP_ADDRESS] UDP_SERVER", "5001"},
    {"[IP_ADDRESS] IP_LOCAL", "*"},
    {"[IP_ADDRESS] TCP_LOCAL", "5001"},
    {"[SLOT_MACHINE] PORT_ASYNC", "1,2,3,4"},
    {"[RICH_ORA] TOUT_ORA", "7200"},
    {"[INTERNAL] MAC_ADDR_eth0", "ff:ff:ff:ff:ff:00"},
    {"[INTERNAL] MAC_ADDR_eth1", "ff:ff:ff:ff:ff:01"},
    {"[INTERNAL] ZQ_MODEL", "<unknown>"},
    {"[INTERNAL] ZQ_SW_VERSION", "<unknown"},
    {"[INTERNAL] ZQ_MANUFACTURER_ID", "ZEPH WLT"},
    {KEY_UPDATE_A, "YYMMDDHHMMSS"},
    {KEY_UPDATE_B, "YYMMDDHHMMSS"},
    {"[INTERNAL] TESK_CONNECTION_TYPE", "3"},
    {"[INTERNAL] ZQ_CONNECTION_TYPE", "9"},
    {"[AAMS] TMP_APP_COLLEGATI", "1"},
    {"[AAMS] INVIO_APP_COLLEGATI", "1"},
    {"[AAMS] INVIO_NO_APP_COLLEGATI", "1"},
    {"[AAMS] TMP_APP_ACCENSIONE", "2"},
    {KEY_CONFIG_FILE, "config.ini"},
};

constexpr Default PORT_DEFAULTS[] = {
    {"IP_ADDRESS", "127.0.0.1"}, {"FLOWCONTROL", "No Flow"}, {"STOPSIZE", "1"},
    {"PARITY", "NONE"},          {"DATASIZE", "8"},          {"BAUDRATE", "19200"},
};

}  // namespace

void storeDefaults(std::map<std::string, std::string>& map) {
    for (const Default& entry : DEFAULTS) map[entry.key] = entry.value;
    for (int n = 1; n <= PORTS_WITH_DEFAULTS; ++n) {
        for (const Default& entry : PORT_DEFAULTS) map[portKey(n, entry.key)] = entry.value;
        map[portKey(n, "TCP_PORT")] = text::format("%d", FIRST_TELNET_PORT + TELNET_PORT_STEP * n);
    }
}

// An empty list of hosts is a setting of its own: no other machine may connect.
bool storesEmptyValue(const std::string& key) {
    return key == KEY_HOSTS_ALLOWED;
}

std::string portKey(int n, const char* name) {
    return text::format("[PORT_ASYNC%d] %s", n, name);
}

}  // namespace teskd
