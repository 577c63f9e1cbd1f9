// The bytes of the Telnet protocol (RFC 854) and of its COM-PORT-OPTION (RFC 2217).
#pragma once

namespace teskd::telnet {

// Commands: IAC command, IAC WILL|WONT|DO|DONT option, or IAC SB option parameters IAC SE.
constexpr int SE = 0xF0;
constexpr int SB = 0xFA;
constexpr int WILL = 0xFB;
constexpr int WONT = 0xFC;
constexpr int DO = 0xFD;
constexpr int DONT = 0xFE;
constexpr int IAC = 0xFF;

constexpr int CR = 0x0D;
constexpr int LF = 0x0A;
constexpr int NUL = 0x00;

// Options.
constexpr int BINARY = 0;
constexpr int SUPPRESS_GO_AHEAD = 3;
constexpr int COM_PORT_OPTION = 44;

// COM-PORT-OPTION subcommands, client to server; the server's answer has the number plus 100.
constexpr int SIGNATURE = 0;
constexpr int SET_BAUDRATE = 1;  // 4 bytes, big-endian
constexpr int SET_DATASIZE = 2;  // this and the following: 1 byte
constexpr int SET_PARITY = 3;
constexpr int SET_STOPSIZE = 4;
constexpr int SET_CONTROL = 5;
constexpr int SERVER_SIGNATURE = 100;

}  // namespace teskd::telnet
