// How a connection makes the packet for a frame.
#pragma once

namespace teskd {

class DornPacket;

// Returns a new packet for a frame's type byte, without a reference, or null for an unknown type.
// Handed in by the daemon, which knows all types, also those that are made outside this folder.
// Any thread.
using CreatePacket = DornPacket* (*)(int type);

}  // namespace teskd
