// What tshark shows of a capture with the dissectors loaded.
//
// Ownership: plain values. Threads: one user at a time.
// Errors: a tshark that fails or complains, and any Lua error, fail the test.

#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "wireshark/CaptureFile.h"

namespace teskd::test {

// What is remarked on, of whatever severity; always there.
inline constexpr char kExpertMessage[] = "_ws.expert.message";

// The list of packets' last column, a field like others.
inline constexpr char kInfo[] = "_ws.col.Info";

class Shown {
  public:
    // A field's value in a packet, counting from 1; several values have a "|" between two.
    std::string at(std::size_t packet, const std::string& field) const;
    // "field=value", one after the other, for those that the packet has; without
    // what is remarked on.
    std::string line(std::size_t packet, const std::set<std::string>& without = {}) const;
    // The lines of all packets that have this field, without some fields.
    std::vector<std::string> lines(const std::string& field,
                                   const std::set<std::string>& without) const;
    // Every value of a field, in the packets' order.
    std::vector<std::string> values(const std::string& field) const;
    std::size_t packets() const { return rows_.size(); }

    // The packet's values, by the fields' names, each present.
    using Row = std::map<std::string, std::string>;
    explicit Shown(std::vector<Row> rows) : rows_(std::move(rows)) {}

  private:
    std::vector<Row> rows_;
};

// Further arguments are tshark's own, "-2" for example.
Shown tshark(const CaptureFile& capture, std::vector<std::string> fields,
             const std::vector<std::string>& arguments = {});

}  // namespace teskd::test
