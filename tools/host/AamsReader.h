// Splits an AAMS text into its fields, separated by "-". Some are complete messages of slot
// machines, which may contain any character and have a length field.
//
// Ownership: refers to the caller's text, which must outlive it. Threads: one user at a time.
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
    // The next field, which is not consumed.
    std::string peek() const { return AamsReader(*this).field(); }
    // The next field as a machine's message; empty if the field is empty.
    std::string message();

  private:
    void skipSeparator();
    std::string take(std::size_t size);

    std::string_view rest_;
};

}  // namespace teskhost
