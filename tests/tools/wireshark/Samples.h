// A frame of every kind that the gateway and its neighbours send, and what is to be seen of it.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/Frame.h"
#include "wireshark/CaptureFile.h"

namespace teskd::test {

enum class Road {
    Request,             // a host to the gateway, TCP
    Answer,              // back
    Notification,        // the gateway to the notification server, UDP
    NotificationAnswer,  // back
};

inline constexpr std::uint8_t kAamsFrame = 0xFE;  // the type of frames with AAMS texts

struct Sample {
    const char* name;
    Road road;
    std::uint8_t type;
    std::string body;
    std::string shown;  // the body's fields, see Shown::line()

    // Identifiers are 7 and 8.
    Frame frame() const;
    bool overTcp() const { return road == Road::Request || road == Road::Answer; }
    // Who sends it and who gets it, on the ports that are the gateway's defaults.
    CaptureFile::Side from() const;
    CaptureFile::Side to() const;
    // Puts these bytes on its way.
    std::size_t send(CaptureFile& capture, std::string_view data) const;
};

const std::vector<Sample>& samples();

// The fields that bodies are made of.
const std::vector<std::string>& bodyFields();

// "XN42" answers message 113: 32 bytes, one of them a "-".
inline constexpr char kMessage[] = "113~0020~210315~XN-2~00~1~2~3~45";

// The bytes of an AAMS text: length prefix, code id, length, text.
std::string aamsBody(int code, const std::string& text);

}  // namespace teskd::test
