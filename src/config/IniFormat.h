// The INI format of the configuration files: text to map, and map to text.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace teskd {

// Parses and formats INI text. Keys of the map are the section header as written, a blank and the
// name: "[IP_ADDRESS] IP_SERVER". Uses no file, clock or thread.
class IniFormat {
  public:
    using Map = std::map<std::string, std::string>;
    // Called with the line number (from 1, empty lines not counted) of a section header that does
    // not end in "]".
    using SyntaxErrorHandler = std::function<void(unsigned line)>;
    // Whether "NAME=" stores an empty value for this key.
    using StoresEmptyValue = bool (*)(const std::string& key);

    // Merges the text's pairs into the map; a later pair overwrites an earlier one. There is no
    // comment syntax: a line without "=" just has no value to store. "NAME=" stores an empty value
    // for the keys that storesEmptyValue accepts, and nothing for the others.
    static void parse(std::string_view text, Map& map, const SyntaxErrorHandler& onSyntaxError,
                      StoresEmptyValue storesEmptyValue = nullptr);

    // The map as text that parse() reads back to the same map.
    static std::string format(const Map& map);
};

}  // namespace teskd
