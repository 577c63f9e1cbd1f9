// The text form of the configuration files: text in, map out, and back.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace teskd {

// Reading and writing of the INI form. Keys of the map are the section header as written, a blank
// and the name: "[IP_ADDRESS] IP_SERVER". No file, no clock, no thread in here.
class IniFormat {
  public:
    using Map = std::map<std::string, std::string>;
    // Called with the number of a line (empty lines not counted, from 1) whose section header does
    // not end in "]".
    using SyntaxErrorHandler = std::function<void(unsigned line)>;
    // Whether "NAME=" stores an empty value for this key.
    using CountsWhenEmpty = bool (*)(const std::string& key);

    // Merges the text's pairs into the map; a later pair overwrites an earlier one. There is no
    // comment syntax: a line without "=" has no value to store, and that is all. "NAME=" stores
    // nothing, but for the keys that count when they are empty.
    static void parse(std::string_view text, Map& map, const SyntaxErrorHandler& onSyntaxError,
                      CountsWhenEmpty countsWhenEmpty = nullptr);

    // The map as text that parse() reads back to the same map.
    static std::string format(const Map& map);
};

}  // namespace teskd
