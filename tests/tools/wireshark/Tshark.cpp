#include "wireshark/Tshark.h"

#include <gtest/gtest.h>
#include <sstream>

#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace teskd::test {

namespace {

constexpr char kLuaError[] = "_ws.lua.error";

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
    return parts;
}

Shown::Row rowOf(const std::string& line, const std::vector<std::string>& fields) {
    std::vector<std::string> values = split(line, '\t');
    values.resize(fields.size());
    Shown::Row row;
    for (std::size_t i = 0; i < fields.size(); ++i) row.emplace(fields[i], values[i]);
    return row;
}

ChildProcess::Options command(const TempDir& directory, const std::vector<std::string>& fields,
                              const std::vector<std::string>& arguments) {
    ChildProcess::Options options;
    // Nothing that this machine's user has set up takes part.
    options.environment = {{"HOME", directory.path()}, {"WIRESHARK_CONFIG_DIR", directory.path()}};
    options.command = {"tshark", "-n", "-r", directory / "capture", "-T", "fields"};
    options.command.insert(options.command.end(), {"-X", "lua_script:" WIRESHARK_PLUGIN});
    options.command.insert(options.command.end(), {"-E", "occurrence=a", "-E", "aggregator=|"});
    options.command.insert(options.command.end(), arguments.begin(), arguments.end());
    for (const std::string& field : fields) {
        options.command.insert(options.command.end(), {"-e", field});
    }
    return options;
}

// One line is allowed: that it is run by root.
void expectNoComplaint(const std::string& error) {
    for (const std::string& line : split(error, '\n')) {
        if (line.find("Running as user") == std::string::npos) ADD_FAILURE() << line;
    }
}

}  // namespace

std::string Shown::at(std::size_t packet, const std::string& field) const {
    return rows_.at(packet - 1).at(field);
}

std::string Shown::line(std::size_t packet, const std::set<std::string>& without) const {
    std::string text;
    for (const auto& [field, value] : rows_.at(packet - 1)) {
        if (value.empty() || field == kExpertMessage || without.count(field) > 0) continue;
        text += (text.empty() ? "" : " ") + field + "=" + value;
    }
    return text;
}

std::vector<std::string> Shown::lines(const std::string& field,
                                      const std::set<std::string>& without) const {
    std::vector<std::string> result;
    for (std::size_t packet = 1; packet <= packets(); ++packet) {
        if (!at(packet, field).empty()) result.push_back(line(packet, without));
    }
    return result;
}

std::vector<std::string> Shown::values(const std::string& field) const {
    std::vector<std::string> result;
    for (const Row& row : rows_) {
        for (const std::string& value : split(row.at(field), '|')) result.push_back(value);
    }
    return result;
}

Shown tshark(const CaptureFile& capture, std::vector<std::string> fields,
             const std::vector<std::string>& arguments) {
    const TempDir directory;
    capture.write(directory / "capture");
    fields.insert(fields.end(), {kLuaError, kExpertMessage});

    ChildProcess child(command(directory, fields, arguments));
    const auto status = child.waitForExit(std::chrono::seconds(60));
    EXPECT_TRUE(status && status->ok()) << child.standardError();
    expectNoComplaint(child.standardError());

    std::vector<Shown::Row> rows;
    for (const std::string& line : split(child.standardOutput(), '\n')) {
        rows.push_back(rowOf(line, fields));
        EXPECT_EQ("", rows.back()[kLuaError])
            << "packet " << rows.size() << ": " << rows.back()[kExpertMessage];
    }
    return Shown(std::move(rows));
}

}  // namespace teskd::test
