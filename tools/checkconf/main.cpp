// Prints the daemon's effective configuration and what looks like a mistake in its files.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <utility>

#include "checkconf/FileOwners.h"
#include "checkconf/Settings.h"
#include "checkconf/ValueChecks.h"
#include "config/ConfigDefaults.h"
#include "core/Version.h"
#include "host/Table.h"

namespace {

using checkconf::Finding;
using checkconf::Settings;

constexpr int kClean = 0;
constexpr int kFindings = 1;
constexpr int kBadArguments = 2;

struct Options {
    std::string root{};
    std::vector<std::string> files{};
    bool quiet = false;
};

void declare(CLI::App& app, Options& options) {
    auto* const root = app.add_option("--root", options.root,
                                      "Directory that the daemon's files lie under; / without it")
                           ->check(CLI::ExistingDirectory)
                           ->type_name("DIR");
    app.add_option("FILE", options.files, "Files to merge in this order instead")
        ->check(CLI::ExistingFile)
        ->excludes(root);
    app.add_flag("-q,--quiet", options.quiet, "Print the findings only");
    app.set_version_flag("--version", std::string("teskd-checkconf ") + teskd::version(),
                         "Print the version");
    app.footer(
        "Examples:\n"
        "  teskd-checkconf\n"
        "  teskd-checkconf --root /mnt/image\n"
        "  teskd-checkconf --quiet tesk_v2.ini config.ini\n"
        "\n"
        "Exit status: 0 no findings, 1 findings, 2 bad arguments");
}

// The files that the daemon merges and that exist.
void mergeUnder(const std::string& root, Settings& settings, std::vector<Finding>& findings) {
    const std::string directory = root + teskd::CONFIG_DIRECTORY;
    const bool hasMain = settings.merge(root + teskd::MAIN_FILE);
    settings.merge(directory + teskd::SOFTWARE_UPDATE_FILE);
    const checkconf::Setting name = settings.get(teskd::KEY_CONFIG_FILE);
    const std::string file = directory + name.value;
    const bool hasNamed = settings.merge(file);
    if (!hasNamed && !name.place.file.empty()) {
        findings.push_back(
            {name.place, std::string(teskd::KEY_CONFIG_FILE) + ": there is no file " + file});
    }
    const checkconf::Setting late = settings.get(teskd::KEY_CONFIG_FILE);
    if (late.value != name.value) {
        findings.emplace_back(
            late.place, std::string(teskd::KEY_CONFIG_FILE) + ": comes too late to choose a file");
    }
    if (!hasMain && !hasNamed) {
        const checkconf::Place place{root + teskd::MAIN_FILE, 0};
        findings.emplace_back(place, "no configuration file is there");
    }
    for (Finding& finding : checkconf::checkOwners(root)) findings.push_back(std::move(finding));
}

void printSettings(const Settings& settings) {
    teskhost::Table table({{"key"}, {"value"}, {"from"}});
    for (const auto& [key, setting] : settings.all()) {
        table.add({key, setting.value, setting.place.text()});
    }
    std::cout << table.text(0);
}

void printFindings(std::vector<Finding> findings) {
    std::stable_sort(findings.begin(), findings.end(), [](const Finding& a, const Finding& b) {
        return std::pair(a.place.file, a.place.line) < std::pair(b.place.file, b.place.line);
    });
    for (const Finding& finding : findings) {
        std::cout << teskhost::printable(finding.place.text() + ": " + finding.text) << '\n';
    }
}

int check(const Options& options) {
    Settings settings;
    std::vector<Finding> findings;
    if (options.files.empty()) mergeUnder(options.root, settings, findings);
    for (const std::string& file : options.files) settings.merge(file);
    for (const Finding& finding : settings.findings()) findings.push_back(finding);
    for (const Finding& finding : checkconf::ValueChecks(settings).run()) {
        findings.push_back(finding);
    }
    if (!options.quiet) printSettings(settings);
    if (!options.quiet && !findings.empty()) std::cout << '\n';
    printFindings(findings);
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "teskd-checkconf: standard output cannot be written\n";
        return kFindings;  // the findings could not be printed
    }
    return findings.empty() ? kClean : kFindings;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("Checks the gateway's configuration as the daemon would read it.",
                 "teskd-checkconf");
    Options options;
    declare(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kClean : kBadArguments;
    }
    return check(options);
}
