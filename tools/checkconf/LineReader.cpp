#include "checkconf/LineReader.h"

#include "config/ConfigDefaults.h"

namespace checkconf {

using teskd::IniFormat;

namespace {

constexpr char kProbe[] = "\x01";

// The section of a pair after this text.
std::string sectionBehind(const std::string& text) {
    IniFormat::Map map;
    IniFormat::parse(text + "\n" + kProbe + "=" + kProbe, map, [](unsigned) {});
    for (const auto& [key, value] : map) {
        const std::size_t blank = key.size() - 2;
        if (value == kProbe && key.substr(blank + 1) == kProbe) return key.substr(0, blank);
    }
    return {};
}

}  // namespace

LineReader::Line LineReader::read(const std::string& text) {
    Line line;
    const std::string inSection = section_ + "\n" + text;
    const auto noteError = [&line](unsigned) { line.syntaxError = true; };
    IniFormat::parse(inSection, line.pairs, noteError, teskd::storesEmptyValue);
    const std::string section = sectionBehind(inSection);
    line.newSection = text.starts_with('[') && !line.syntaxError;
    section_ = section;
    return line;
}

}  // namespace checkconf
