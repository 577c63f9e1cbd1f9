#include "support/Config.h"

#include "support/TempDir.h"

namespace teskd::test {

Config::Config() {
    set("INTERNAL", "TESKv2_ENABLE", "true");
    set("IP_ADDRESS", "IP_LOCAL", "127.0.0.1");
    set("IP_ADDRESS", "IP_SERVER", "127.0.0.1");
    polling(0, 1);
}

Config& Config::set(const std::string& section, const std::string& key, const std::string& value) {
    sections_[section][key] = value;
    return *this;
}

Config& Config::remove(const std::string& section, const std::string& key) {
    sections_[section].erase(key);
    return *this;
}

Config& Config::tcpLocal(std::uint16_t port) {
    return set("IP_ADDRESS", "TCP_LOCAL", std::to_string(port));
}

Config& Config::server(std::uint16_t udpPort) {
    return set("IP_ADDRESS", "UDP_SERVER", std::to_string(udpPort));
}

Config& Config::serialPort(int n, std::uint16_t tcpPort) {
    return set("PORT_ASYNC" + std::to_string(n), "TCP_PORT", std::to_string(tcpPort));
}

Config& Config::serialPorts(const std::vector<std::uint16_t>& tcpPorts) {
    std::string numbers;
    int n = 0;
    for (const std::uint16_t port : tcpPorts) {
        serialPort(++n, port);
        numbers += (numbers.empty() ? "" : ",") + std::to_string(n);
    }
    return set("SLOT_MACHINE", "PORT_ASYNC", numbers);
}

Config& Config::polling(int firstMinutes, int everyMinutes) {
    set("AAMS", "TMP_APP_ACCENSIONE", std::to_string(firstMinutes));
    return set("AAMS", "TMP_APP_COLLEGATI", std::to_string(everyMinutes));
}

bool Config::has(const std::string& section, const std::string& key) const {
    const auto found = sections_.find(section);
    return found != sections_.end() && found->second.count(key) != 0;
}

std::string Config::get(const std::string& section, const std::string& key) const {
    return has(section, key) ? sections_.at(section).at(key) : "";
}

std::string Config::text() const {
    std::string result;
    for (const auto& [section, keys] : sections_) {
        result += "[" + section + "]\n";
        for (const auto& [key, value] : keys) result += key + "=" + value + "\n";
    }
    return result;
}

void Config::write(const std::filesystem::path& file) const {
    writeFile(file, text());
}

}  // namespace teskd::test
