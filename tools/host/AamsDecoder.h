// Decodes one AAMS message field by field; implements AamsContent::decode.
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

    // May be called once only.
    AamsContent run();

  private:
    void byCode();
    void identification();
    void machines();
    void history();
    void failedChecks();
    void parameters();
    void failedCheck();

    // These add the next field, or the given text.
    void addText(const char* name, const char* key) { addText(name, key, reader_.field()); }
    void addText(const char* name, const char* key, const std::string& text);
    void addNumber(const char* name, const char* key);
    void addMinutes(const char* name, const char* key, const std::string& text);
    void addFlag(const char* name, const char* key, const std::string& text);
    void addStamp(const char* name, const char* key) { addStamp(name, key, reader_.field()); }
    void addStamp(const char* name, const char* key, const std::string& text);
    // `words` is the meaning of the code.
    void addCode(const char* name, const char* key, const std::string& code,
                 const std::string& words);
    void addState();
    void addCheck();
    void addAnswered() { addStamp("time of the answer", "answered"); }
    // False when the message reports a failure, and so has no more fields.
    bool addResult();
    // Adds a time and a machine's message, unless both are empty.
    void addReading(const std::string& context);

    AamsReader reader_;
    AamsContent content_;
};

}  // namespace teskhost
