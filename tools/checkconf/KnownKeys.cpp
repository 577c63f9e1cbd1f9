#include "checkconf/KnownKeys.h"

#include <algorithm>
#include <cctype>
#include <map>
#include <regex>

#include "config/ConfigDefaults.h"

namespace checkconf::known {

namespace {

using Map = std::map<std::string, std::string>;

// Every known key, with its default if there is one.
const Map& keys() {
    static const Map map = [] {
        Map result;
        teskd::storeDefaults(result);
        result.emplace(teskd::KEY_HOSTS_ALLOWED, "");
        return result;
    }();
    return map;
}

// The keys of port 1 stand for those of every port. The daemon writes the number of a port without
// leading zeros.
std::string withFirstPort(const std::string& text) {
    static const std::regex number("^\\[PORT_ASYNC(0|[1-9][0-9]*)\\]");
    return std::regex_replace(text, number, "[PORT_ASYNC1]");
}

bool sameLetters(const std::string& a, const std::string& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
        return std::toupper(x) == std::toupper(y);
    });
}

std::string sectionOf(const std::string& key) {
    return key.substr(0, key.find(']') + 1);
}

}  // namespace

bool section(const std::string& header) {
    const std::string wanted = withFirstPort(header);
    return std::any_of(keys().begin(), keys().end(),
                       [&](const auto& entry) { return sectionOf(entry.first) == wanted; });
}

bool key(const std::string& key) {
    return keys().count(withFirstPort(key)) != 0;
}

std::string similar(const std::string& text) {
    for (const auto& [key, value] : keys()) {
        if (sameLetters(key, text)) return key;
        if (sameLetters(sectionOf(key), text)) return sectionOf(key);
    }
    return {};
}

std::string sectionsOf(const std::string& name) {
    for (const auto& [key, value] : keys()) {
        const std::string section = sectionOf(key);
        if (!sameLetters(key.substr(section.size() + 1), name)) continue;
        return section.starts_with("[PORT_ASYNC") ? "the section of a serial port" : section;
    }
    return {};
}

bool name(const std::string& name) {
    return std::any_of(keys().begin(), keys().end(), [&](const auto& entry) {
        return entry.first.substr(sectionOf(entry.first).size() + 1) == name;
    });
}

}  // namespace checkconf::known
