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

    // Each takes the next field, unless the text is given.
    void addText(const char* name, const char* key) { addText(name, key, reader_.field()); }
    void addText(const char* name, const char* key, const std::string& text);
    void addNumber(const char* name, const char* key);
    void addMinutes(const char* name, const char* key, const std::string& text);
    void addFlag(const char* name, const char* key, const std::string& text);
    void addStamp(const char* name, const char* key) { addStamp(name, key, reader_.field()); }
    void addStamp(const char* name, const char* key, const std::string& text);
    // `words` is what the code means.
    void addCode(const char* name, const char* key, const std::string& code,
                 const std::string& words);
    void addState();
    void addCheck();
    void addAnswered() { addStamp("time of the answer", "answered"); }
    // False when the message reports a failure, and so has no more fields.
    bool addResult();
    // A time and a machine's message; nothing when both are empty.
    void addReading(const std::string& context);

    AamsReader reader_;
    AamsContent content_;
};

}  // namespace teskhost
