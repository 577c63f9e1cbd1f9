// Every key with its value and the place of that; files are merged as the daemon merges them.
//
// Ownership: a plain value. Threads: one user at a time. Errors: nothing throws.

#pragma once

#include <map>
#include <string>
#include <vector>

#include "checkconf/LineReader.h"
#include "checkconf/Place.h"

namespace checkconf {

struct Setting {
    std::string value{};
    Place place{};
};

class Settings {
  public:
    // The daemon's defaults.
    Settings();

    // Merges a file; its values replace earlier ones. False if the file does not exist. A file that
    // the daemon could not read is a finding.
    bool merge(const std::string& file);

    const std::map<std::string, Setting>& all() const { return all_; }
    // Empty if there is no such key.
    Setting get(const std::string& key) const;
    bool isDefault(const std::string& key) const { return get(key).place.file.empty(); }

    // Mistakes in the syntax of the files.
    const std::vector<Finding>& findings() const { return findings_; }

  private:
    void readText(const std::string& file, const std::string& text);
    void checkZeros(const std::string& file, const std::string& text);
    void readLine(LineReader& reader, const std::string& text, const Place& place);
    void store(const std::string& key, const Setting& setting);
    void checkSection(const std::string& section, const Place& place);
    void checkKey(const std::string& key, const Place& place);
    void find(const Place& place, const std::string& text) { findings_.emplace_back(place, text); }

    std::map<std::string, Setting> all_;
    std::vector<Finding> findings_;
};

}  // namespace checkconf
