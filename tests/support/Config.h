// The configuration file of a daemon under test, built key by key.
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
    // An enabled daemon on 127.0.0.1 that polls its machines at once and every minute.
    Config();

    // Sections are named without brackets. Each operation returns the object, for chains.
    Config& set(const std::string& section, const std::string& key, const std::string& value);
    Config& remove(const std::string& section, const std::string& key);

    // TCP port for hosts. DaemonProcess chooses one when this is not called.
    Config& tcpLocal(std::uint16_t port);
    // Notification server on 127.0.0.1.
    Config& server(std::uint16_t udpPort);
    // The telnet endpoint of serial port n.
    Config& serialPort(int n, std::uint16_t tcpPort);
    // Serial ports 1 to n, and no others, at these TCP ports.
    Config& serialPorts(const std::vector<std::uint16_t>& tcpPorts);
    // Minutes until the first polling pass and between two.
    Config& polling(int firstMinutes, int everyMinutes);

    bool has(const std::string& section, const std::string& key) const;
    std::string get(const std::string& section, const std::string& key) const;
    std::string text() const;
    void write(const std::filesystem::path& file) const;

  private:
    std::map<std::string, std::map<std::string, std::string>> sections_;
};

}  // namespace teskd::test
