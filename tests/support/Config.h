// The configuration file of a daemon under test.
//
// Ownership: a plain value. Threads: one user at a time. Errors: write() throws
// std::runtime_error.

#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace teskd::test {

class Config {
  public:
    // Enables the daemon on 127.0.0.1, with a polling pass at once and every minute.
    Config();

    // Sections are named without brackets. Each operation returns the object, for chained calls.
    Config& set(const std::string& section, const std::string& key, const std::string& value);
    Config& remove(const std::string& section, const std::string& key);

    // TCP port for hosts. Without it, DaemonProcess chooses one.
    Config& tcpLocal(std::uint16_t port);
    // UDP port of the notification server on 127.0.0.1.
    Config& server(std::uint16_t udpPort);
    // The telnet endpoint of serial port n.
    Config& serialPort(int n, std::uint16_t tcpPort);
    // Serial ports 1 to n, and no others, at these TCP ports.
    Config& serialPorts(const std::vector<std::uint16_t>& tcpPorts);
    // Minutes before the first polling pass and between two passes.
    Config& polling(int firstMinutes, int everyMinutes);

    bool has(const std::string& section, const std::string& key) const;
    std::string get(const std::string& section, const std::string& key) const;
    std::string text() const;
    void write(const std::filesystem::path& file) const;

  private:
    std::map<std::string, std::map<std::string, std::string>> sections_;
};

}  // namespace teskd::test
