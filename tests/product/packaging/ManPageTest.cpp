// The man pages tell every setting and every line of the log that the sources have, and no other.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "config/ZqConfig.h"
#include "packaging/InstalledRoot.h"
#include "support/TempDir.h"

namespace teskd::test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;

constexpr char kSettingsPage[] = TESKD_SOURCE "/packaging/man/tesk_v2.ini.5";
constexpr char kDaemonPage[] = TESKD_SOURCE "/packaging/man/teskd.8";

std::string replaced(const std::string& text, const char* pattern, const char* by) {
    return std::regex_replace(text, std::regex(pattern), by);
}

// All matches of a pattern, in the order of the text.
std::vector<std::smatch> allMatches(const std::string& text, const std::regex& pattern) {
    return {std::sregex_iterator(text.begin(), text.end(), pattern), std::sregex_iterator()};
}

// Name, section and source of each page.
struct ManPage {
    std::string name;
    char section;
    std::string source;
};

const std::vector<ManPage>& manPages() {
    static const std::vector<ManPage> pages = {
        {"dornctl", '1', TESKD_SOURCE "/tools/dornctl/dornctl.1"},
        {"tesk_v2.ini", '5', kSettingsPage},
        {"teskd", '8', kDaemonPage},
        {"teskd-checkconf", '1', TESKD_SOURCE "/tools/checkconf/teskd-checkconf.1"},
        {"tesksim", '1', TESKD_SOURCE "/tools/tesksim/tesksim.1"},
    };
    return pages;
}

TEST(ManPage, IsSoundInTheEyesOfTheFormatter) {
    InstalledRoot root;
    root.unpack("teskd");
    root.unpack("teskd-tools");
    for (const ManPage& page : manPages()) {
        const std::string file =
            std::string("/usr/share/man/man") + page.section + "/" + page.name + "." + page.section;
        EXPECT_EQ("", root.run({"/host/usr/bin/mandoc", "-T", "lint", "-W", "style", file}));
    }
}

TEST(ManPage, RefersToEveryOtherPageInItsLastSection) {
    for (const ManPage& page : manPages()) {
        const std::string text = readFile(page.source);
        const std::string last = text.substr(text.find(".Sh SEE ALSO\n"));
        for (const ManPage& other : manPages()) {
            const std::string reference = ".Xr " + other.name + " " + other.section + "\n";
            const bool found = replaced(last, " ,\n", "\n").find(reference) != std::string::npos;
            EXPECT_EQ(other.name != page.name, found) << page.name << ": " << reference;
        }
    }
}

// What the page says of each setting, by section and name; the first port stands for all. The first
// line is the default, empty for none.
std::map<std::string, std::string> documentedSettings() {
    static const std::regex kItem("\\.It Ic (\\S+)(?: Ns = Ns Cm (.*))?");
    std::map<std::string, std::string> settings;
    std::istringstream page(readFile(kSettingsPage));
    std::string section;
    std::string* current = nullptr;
    std::smatch match;
    for (std::string line; std::getline(page, line);) {
        if (std::regex_match(line, match, std::regex("\\.Ss Sections? ([A-Z0-9_]+).*"))) {
            section = "[" + match[1].str() + "] ";
        } else if (std::regex_match(line, match, kItem)) {
            current = &settings[section + match[1].str()];
            *current = replaced(match[2], "\"", "") + "\n";
        } else if (line == ".El") {
            current = nullptr;
        } else if (current != nullptr) {
            *current += line + "\n";
        }
    }
    return settings;
}

// The settings that hold when no file sets any.
std::map<std::string, std::string> defaults() {
    std::map<std::string, std::string> settings = ZqConfig();
    std::erase_if(settings, [](const auto& setting) {
        return std::regex_search(setting.first, std::regex("^\\[PORT_ASYNC[2-9]"));
    });
    return settings;
}

TEST(ManPageOfSettings, HasEverySettingWithItsDefault) {
    std::map<std::string, std::string> documented;
    for (const auto& [key, text] : documentedSettings()) {
        if (!text.starts_with('\n')) documented[key] = text.substr(0, text.find('\n'));
    }
    EXPECT_EQ(defaults(), documented);
}

// Settings are read by names that the sources have as they are in the files, whole or in two parts.
TEST(ManPageOfSettings, HasEverySettingThatTheSourcesName) {
    std::string source;
    for (const char* file : {"ConfigDefaults.h", "ConfigDefaults.cpp", "ZqConfig.cpp"}) {
        source += readFile(TESKD_SOURCE "/src/config/" + std::string(file));
    }
    std::set<std::string> known;
    for (const auto& [key, text] : documentedSettings()) known.insert(key);
    for (const auto& match :
         allMatches(source, std::regex("\"(\\[[A-Z0-9_]+\\] [A-Za-z0-9_]+)\""))) {
        if (match[1] == "[INTERNAL] MAC_ADDR_") continue;  // eth0, eth1
        EXPECT_TRUE(known.contains(match[1])) << match[1];
    }
    for (const auto& match :
         allMatches(source, std::regex("(?:portKey|port_setting)\\(n, \"(\\w+)\""))) {
        EXPECT_TRUE(known.contains("[PORT_ASYNC1] " + match[1].str())) << match[1];
    }
}

TEST(ManPageOfSettings, HasUnitRangeAndWrongValuesOfEverySetting) {
    for (const auto& [key, text] : documentedSettings()) {
        for (const char* part : {"Unit:", "Range:", "wrong value"}) {
            EXPECT_THAT(replaced(text, "\n", " "), HasSubstr(part)) << key;
        }
    }
}

// A line of the log is its severity and its words, with "*" for what changes from line to line.
using LogLines = std::set<std::string>;

std::string logLine(const std::string& severity, const std::string& words) {
    const std::string plain = replaced(words, "<[a-z ]+>", "*");
    return severity + " " + replaced(plain, "%[0-9.]*[lz]?[a-z]", "*");
}

LogLines documentedLines() {
    const std::string page = replaced(readFile(kDaemonPage), "\\\\&", "");
    LogLines lines;
    for (const auto& item : allMatches(page, std::regex("\\.It Cm \"(.*)\" Pq ([a-z, ]+)"))) {
        for (const std::string& severity :
             splitWords(item[2] == "standard error" ? "stderr" : replaced(item[2], ",", " "))) {
            lines.insert(logLine(severity, item[1]));
        }
    }
    return lines;
}

// String literals that stand one behind the other are one.
std::string joined(const std::string& literals) {
    return replaced(replaced(literals, "\"\\s*\"", ""), "^\"|\"$", "");
}

constexpr char kLiterals[] = "((?:\"(?:[^\"\\\\]|\\\\.)*\"\\s*)+)";

class Source {
  public:
    explicit Source(const fs::path& file) : text_(readFile(file)) {}

    // Most have nothing to say, and need not be searched for it.
    bool isSilent() const {
        return !contains("Log::write(") && !contains("attempt(") && !contains("StandardError") &&
               !contains("sizeof text, ") && !contains("LogSource") && !contains("og_.") &&
               !contains("og_->");
    }

    void addTo(LogLines& lines) const {
        addWritten(lines);
        addOfSources(lines);
        addAttempts(lines);
        addNamed(lines);
        addCounts(lines);
        for (const auto& match :
             found("(?:StandardError::inherited\\(\\)\\.write|\\.standardError)\\(")) {
            lines.insert(logLine("stderr", match + "*"));
        }
        for (const auto& match : found("snprintf\\(count, sizeof count, ")) {
            lines.insert(logLine("stderr", match));
        }
        for (const auto& match : found("snprintf\\(text, sizeof text, ")) {
            lines.insert(logLine("warning", match));
        }
    }

  private:
    static constexpr char kAny[] = "%s: %s";

    bool contains(const char* words) const { return text_.find(words) != std::string::npos; }

    // Lines in two parts are found by what their first part is: that of an attempt, or of a host
    // that cannot be served.
    void addWritten(LogLines& lines) const {
        const std::map<std::string, std::string> severities = {{"ERROR", "err"},
                                                               {"WARNING", "warning"},
                                                               {"NOTICE", "notice"},
                                                               {"INFO", "info"},
                                                               {"DEBUG", "debug"}};
        const auto calls = allMatches(
            text_, std::regex(std::string("\\bLog::write\\(\\s*Log::([A-Z]+),\\s*") + kLiterals));
        for (const auto& call : calls) {
            const std::string format = joined(call[2]);
            if (format != kAny) lines.insert(logLine(severities.at(call[1]), format));
        }
        EXPECT_EQ(allMatches(text_, std::regex("\\bLog::write\\(")).size(), calls.size())
            << "a line is written in a way that this test cannot read";
    }

    // Those that go by way of a LogSource.
    void addOfSources(LogLines& lines) const {
        const std::string write = "(?:\\.|->)(warning|notice|info|debug)\\(";
        const auto calls = allMatches(text_, std::regex(write + "\\s*" + kLiterals));
        for (const auto& call : calls) {
            const std::string format = joined(call[2]);
            if (format != kAny) lines.insert(logLine(call[1], format));
        }
        EXPECT_EQ(allMatches(text_, std::regex(write)).size(), calls.size())
            << "a line is written in a way that this test cannot read";
    }

    void addAttempts(LogLines& lines) const {
        for (const std::string& what : found("attempt\\(")) {
            lines.insert(logLine("warning", what + ": *"));
        }
    }

    void addNamed(LogLines& lines) const {
        if (!contains("void DornDeamon::log_problem")) return;
        for (const std::string& what : found("constexpr const char\\* [A-Z_]+ = ")) {
            lines.insert(logLine("warning", what + ": *"));
        }
    }

    // A count of dropped lines has the priority of the most urgent of them.
    void addCounts(LogLines& lines) const {
        for (const std::string& what : found("Log::writeUnlimited\\(dropped\\.priority,\\s*")) {
            for (const char* severity : {"warning", "notice", "info", "debug"}) {
                lines.insert(logLine(severity, what));
            }
        }
    }

    // The literals behind a pattern.
    std::vector<std::string> found(const std::string& before) const {
        std::vector<std::string> texts;
        for (const auto& match : allMatches(text_, std::regex(before + kLiterals))) {
            texts.push_back(joined(match[1]));
        }
        return texts;
    }

    const std::string text_;
};

LogLines writtenLines() {
    LogLines lines;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(TESKD_SOURCE "/src")) {
        const std::string name = entry.path().filename();
        // The log itself passes on what it is given.
        if (!entry.is_regular_file() || name == "Log.cpp" || name == "CMakeLists.txt") continue;
        const Source source(entry.path());
        if (!source.isSilent()) source.addTo(lines);
    }
    return lines;
}

TEST(ManPageOfDaemon, HasEveryLineOfTheLogAndNoOther) {
    EXPECT_EQ(writtenLines(), documentedLines());
}

}  // namespace
}  // namespace teskd::test
