#include "dornctl/MetricsText.h"

#include <charconv>
#include <sstream>

namespace dornctl {

namespace {

constexpr char kCounterEnd[] = "_total";

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '\\' || c == '"') result += '\\';
        result += c == '\n' ? ' ' : c;
    }
    return result;
}

std::string textOf(const MetricsText::Labels& labels) {
    std::string text;
    for (const auto& [name, value] : labels) {
        text += (text.empty() ? "" : ",") + name + "=\"" + escaped(value) + '"';
    }
    return text.empty() ? text : "{" + text + "}";
}

std::string numberText(double value) {
    char digits[32];
    const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
    return error == std::errc() ? std::string(digits, end) : "0";
}

}  // namespace

// A line consists of a name, labels, a blank and a number; labels may contain blanks.
MetricsText::MetricsText(const std::string& earlier) {
    std::istringstream lines(earlier);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t blank = line.rfind(' ');
        const std::string name = line.substr(0, line.find_first_of("{ "));
        if (blank == std::string::npos || !name.ends_with(kCounterEnd)) continue;
        double value = 0;
        const char* const end = line.data() + line.size();
        if (std::from_chars(line.data() + blank + 1, end, value).ptr != end) continue;
        earlier_[name][line.substr(name.size(), blank - name.size())] = value;
    }
}

void MetricsText::family(const std::string& name, const std::string& type,
                         const std::string& help) {
    families_.push_back({name, type, help});
    if (type == kCounter) families_.back().samples = earlier_[name];
}

void MetricsText::set(const Labels& labels, double value) {
    families_.back().samples[textOf(labels)] = value;
}

void MetricsText::count(const Labels& labels, double more) {
    families_.back().samples[textOf(labels)] += more;
}

std::string MetricsText::text() const {
    std::string text;
    for (const Family& family : families_) {
        if (family.samples.empty()) continue;
        text += "# HELP " + family.name + " " + family.help + "\n# TYPE " + family.name + " " +
                family.type + '\n';
        for (const auto& [labels, value] : family.samples) {
            text += family.name + labels + " " + numberText(value) + '\n';
        }
    }
    return text;
}

}  // namespace dornctl
