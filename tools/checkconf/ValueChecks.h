// Checks whether the daemon interprets the values as their author meant them.
//
// Ownership: refers to the caller's settings, which must outlive it. Threads: one user at a
// time. Errors: nothing throws.

#pragma once

#include <string>
#include <vector>

#include "checkconf/Settings.h"

namespace checkconf {

class ValueChecks {
  public:
    explicit ValueChecks(const Settings& settings) : settings_(settings) {}

    std::vector<Finding> run();

  private:
    // The meanings of the numbers of a setting, from 1 on.
    struct LineWords {
        const char* name;
        std::vector<std::string> values;
    };

    // The words that the daemon interprets as written, as a list for a message.
    static std::string listed(const LineWords& words);

    void enable();
    void identity();
    void texts();
    void numbers();
    void server();
    void listeners();
    void listenersTogether();
    void allowedHosts();
    void allowedHost(const std::string& item);
    void machines();
    void machine(int n);
    void ownPort(int n);
    void macAddresses();

    // The one of two keys that a file sets: a finding about both has the place where it can be
    // corrected.
    std::string set(const std::string& key, const std::string& other) const;
    void find(const std::string& key, const std::string& text);
    void number(const std::string& key, long lowest, long highest, const char* below);
    void address(const std::string& key, const std::string& host);
    void serverAddress(const std::string& key);
    void tcpPort(const std::string& key, const std::string& text);
    void lineSetting(int n, const char* name, long lowest, long highest);
    void lineWord(const std::string& key, const LineWords& words);
    std::string value(const std::string& key) const { return settings_.get(key).value; }

    const Settings& settings_;
    std::vector<Finding> findings_;
};

}  // namespace checkconf
