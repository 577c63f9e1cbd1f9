#include "checkconf/Settings.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "checkconf/KnownKeys.h"
#include "config/ConfigDefaults.h"
#include "config/ConfigFile.h"
#include "core/Text.h"

namespace checkconf {

namespace {

constexpr char kBlanks[] = " \t\r";
constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

std::string quoted(const std::string& text) {
    return '"' + text + '"';
}

// Whether the line is meant as a comment, whatever follows.
bool looksLikeComment(const std::string& line) {
    const std::size_t start = line.find_first_not_of(kBlanks);
    return start == std::string::npos || line[start] == '#' || line[start] == ';';
}

// The first word of a line that has no "=".
std::string firstWord(const std::string& line) {
    return teskd::text::trim(line.substr(0, line.find_first_of(" \t:\r", 0)), kBlanks);
}

std::string suggestion(const std::string& text) {
    const std::string known = known::similar(text);
    return known.empty() ? "" : "; did you mean " + known + "?";
}

}  // namespace

Settings::Settings() {
    std::map<std::string, std::string> defaults;
    teskd::storeDefaults(defaults);
    for (const auto& [key, value] : defaults) all_[key] = {value, {}};
}

Setting Settings::get(const std::string& key) const {
    const auto found = all_.find(key);
    return found == all_.end() ? Setting{} : found->second;
}

bool Settings::merge(const std::string& file) {
    std::error_code error;
    if (!std::filesystem::exists(file, error) && !error) return false;
    const auto text = teskd::ConfigFile::read(file);
    if (text) {
        readText(file, *text);
    } else {
        find({file, 0},
             "the file cannot be read, is none, or is larger than 1 MiB: unless a later one has "
             "HOSTS_ALLOWED, only this machine itself may connect");
    }
    return true;
}

void Settings::readText(const std::string& file, const std::string& text) {
    LineReader reader;
    std::istringstream lines(text);
    std::string line;
    Place place{file, 0};
    Place firstReturn{file, 0};
    unsigned returns = 0;
    if (text.starts_with(kByteOrderMark)) {
        find({file, 1},
             "byte order mark at the start of the file: it belongs to the first line, and spoils a "
             "header");
    }
    while (std::getline(lines, line)) {
        ++place.line;
        if (line.empty()) continue;
        if (line.back() == '\r' && returns++ == 0) firstReturn.line = place.line;
        readLine(reader, line, place);
    }
    checkZeros(file, text);
    if (returns == 0) return;
    find(firstReturn, "carriage return at the end of " + std::to_string(returns) +
                          (returns == 1 ? " line" : " lines") +
                          ": it becomes part of the value, and spoils a header");
}

void Settings::checkZeros(const std::string& file, const std::string& text) {
    const std::size_t first = text.find('\0');
    if (first == std::string::npos) return;
    const auto start = text.begin() + static_cast<std::ptrdiff_t>(first);
    const auto line = 1 + std::count(text.begin(), start, '\n');
    const auto zeros = std::count(start, text.end(), '\0');
    find({file, static_cast<unsigned>(line)}, std::to_string(zeros) +
                                                  (zeros == 1 ? " zero byte" : " zero bytes") +
                                                  " from this line on: the file is damaged");
}

void Settings::readLine(LineReader& reader, const std::string& text, const Place& place) {
    const std::string before = reader.section();
    const LineReader::Line line = reader.read(text);
    for (const auto& [key, value] : line.pairs) store(key, {value, place});
    if (looksLikeComment(text)) return;
    if (line.syntaxError) {
        find(place, "section header without \"]\" at its end: " + reader.section() + " goes on");
    } else if (line.newSection) {
        checkSection(reader.section(), place);
    } else if (reader.section() != before) {
        find(place, "the value in brackets is a header: what follows is in " + reader.section());
    } else if (teskd::text::trim(text, kBlanks).starts_with('[') && text.front() != '[') {
        find(place, "blanks before \"[\", so it is no header: " + reader.section() + " goes on");
    } else if (line.pairs.empty() && text.find('=') != std::string::npos) {
        find(place, "stores nothing: a name and a value are expected around the \"=\"");
    } else if (line.pairs.empty() && known::name(firstWord(text))) {
        find(place, "stores nothing: no \"=\" behind " + firstWord(text));
    }
    const auto equals = std::count(text.begin(), text.end(), '=');
    if (!line.pairs.empty() && equals > 1) {
        find(place, "more than one \"=\": the value ends at the second");
    }
}

void Settings::store(const std::string& key, const Setting& setting) {
    const Setting before = get(key);
    all_[key] = setting;
    checkKey(key, setting.place);
    if (before.place.file == setting.place.file && before.value != setting.value) {
        find(setting.place, key + " was set in line " + std::to_string(before.place.line) +
                                " already, to another value");
    }
    if (setting.value.size() < 2 || !known::key(key)) return;
    if (setting.value.front() == '"' && setting.value.back() == '"') {
        find(setting.place, "the quotes are part of the value");
    }
}

void Settings::checkSection(const std::string& section, const Place& place) {
    if (known::section(section)) return;
    find(place, "unknown section " + section + suggestion(section));
}

void Settings::checkKey(const std::string& key, const Place& place) {
    const std::string section = key.substr(0, key.find(']') + 1);
    if (!known::section(section) || known::key(key)) return;
    const std::string name = key.substr(std::min(section.size() + 1, key.size()));
    if (looksLikeComment(name)) return;
    std::string hint = suggestion(key);
    const std::string right = known::sectionsOf(name);
    if (hint.empty() && !right.empty()) hint = "; it belongs to " + right;
    find(place, "unknown key " + quoted(name) + " in " + section + hint);
}

}  // namespace checkconf
