#include "config/IniFormat.h"

#include "core/Text.h"

namespace teskd {

namespace {

constexpr const char* FIRST_SECTION = "[INTERNAL]";
constexpr const char* BLANKS = " \t";

// The state that one file's lines share.
struct Parser {
    IniFormat::Map& map;
    const IniFormat::SyntaxErrorHandler& onSyntaxError;
    IniFormat::StoresEmptyValue storesEmptyValue;
    std::string section = FIRST_SECTION;
    unsigned line = 0;

    void header(std::string_view token) {
        if (token.back() == ']') {
            section = token;
        } else {
            onSyntaxError(line);
        }
    }

    // Called before the value is read: a value that follows overwrites the empty one.
    void storeEmpty(const std::string& name, bool hasEquals) {
        if (!hasEquals || storesEmptyValue == nullptr) return;
        const std::string key = section + " " + name;
        if (storesEmptyValue(key)) map[key].clear();
    }

    // Every token is tested for a header first, so a value in brackets is a header as well.
    void tokens(std::string_view text) {
        ++line;
        std::string pendingKey;
        for (const std::string_view token : text::splitDroppingEmpty(text, "=")) {
            if (token.front() == '[') {
                header(token);
            } else if (pendingKey.empty()) {
                pendingKey = text::trim(token, BLANKS);
                storeEmpty(pendingKey, token.data() + token.size() != text.data() + text.size());
            } else {
                map[section + " " + pendingKey] = text::trim(token, BLANKS);
                pendingKey.clear();
            }
        }
    }
};

}  // namespace

void IniFormat::parse(std::string_view text, Map& map, const SyntaxErrorHandler& onSyntaxError,
                      StoresEmptyValue storesEmptyValue) {
    Parser parser{map, onSyntaxError, storesEmptyValue};
    for (const std::string_view line : text::splitDroppingEmpty(text, "\n")) parser.tokens(line);
}

std::string IniFormat::format(const Map& map) {
    std::string text;
    std::string section = "NO_SECTION";
    for (const auto& [key, value] : map) {
        std::string name = key;
        const std::size_t bracket = key.find(']');
        if (key.starts_with(section)) {
            name = key.substr(section.size());
        } else if (bracket != std::string::npos) {
            section = key.substr(0, bracket + 1);
            name = key.substr(bracket + 1);
            text += "\n" + section + "\n";
        }
        text += "\t" + name + "=" + value + "\n";
    }
    return text + "\n";
}

}  // namespace teskd
