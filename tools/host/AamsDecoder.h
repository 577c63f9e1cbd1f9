// Takes one AAMS message apart, field by field; the work behind AamsContent::decode.
//
// Ownership: refers to a message of the caller's, which must outlive it.
// Threads: one user at a time. Errors: run() throws DecodeError.

#pragma once

#include <string>

#include "host/AamsContent.h"
#include "host/AamsReader.h"

namespace teskhost {

class AamsDecoder {
  public:
    explicit AamsDecoder(const AamsMessage& message);

    // To be called once.
    AamsContent run();

  private:
    void byCode();
    void identification();
    void machines();
    void history();
    void failedChecks();
    void parameters();
    void failedCheck();

    void add(const std::string& name, const std::string& value);
    void addField(const std::string& name) { add(name, reader_.field()); }
    void addStamp(const std::string& name);
    // False when the message reports a failure, and so has no more fields.
    bool addResult();
    // A time and a machine's message; nothing when both are empty.
    void addReading(const std::string& context);

    AamsReader reader_;
    AamsContent content_;
};

}  // namespace teskhost
