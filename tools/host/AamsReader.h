// Takes an AAMS text apart: fields between "-", among them whole messages of slot machines, which
// may hold any character and say their size themselves.
//
// Ownership: refers to a text of the caller's, which must outlive it. Threads: one user at a time.
// Errors: DecodeError when there is no further field.

#pragma once

#include <string>
#include <string_view>

namespace teskhost {

class AamsReader {
  public:
    // `body` begins with the "-" in front of the first field.
    explicit AamsReader(std::string_view body) : rest_(body) {}

    bool atEnd() const { return rest_.empty(); }
    // Up to the next "-" or the end.
    std::string field();
    // The field that field() would give.
    std::string peek() const { return AamsReader(*this).field(); }
    // A machine's message; empty when an empty field stands in its place.
    std::string message();

  private:
    void skipSeparator();
    std::string take(std::size_t size);

    std::string_view rest_;
};

}  // namespace teskhost
