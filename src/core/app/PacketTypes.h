// The types of frames that hosts may send, and their packets.
#pragma once

namespace teskd {

class DornPacket;

// A new packet for a frame's type byte, without a reference, or null for an unknown type. Any
// thread.
DornPacket* createPacket(int type);

}  // namespace teskd
