#include "telnet/TelnetOutputStream.h"

#include <mutex>

#include "core/Exception.h"
#include "telnet/TelnetProtocol.h"

namespace teskd {

void TelnetOutputStream::close() {
    const SynchronizedLock lock(lock_);
    inner().close();
}

void TelnetOutputStream::flush() {
    const SynchronizedLock lock(lock_);
    inner().flush();
}

// The thread-safety analysis cannot follow tryLock().
bool TelnetOutputStream::flushAvailable() TESKD_NO_ANALYSIS {
    try {
        lock_.tryLock();
    } catch (const LockedSynchronizedException&) {
        return false;
    }
    const std::lock_guard<Synchronized> held(lock_, std::adopt_lock);
    return inner().flushAvailable();
}

void TelnetOutputStream::write(int b) {
    const SynchronizedLock lock(lock_);
    writeByte(b & 0xFF);
}

void TelnetOutputStream::write(const char* buffer, std::size_t len) {
    const SynchronizedLock lock(lock_);
    for (std::size_t i = 0; i < len; ++i) writeByte(static_cast<unsigned char>(buffer[i]));
}

void TelnetOutputStream::write(const std::string& bytes) {
    write(bytes.data(), bytes.size());
}

bool TelnetOutputStream::isData(std::string_view bytes) {
    constexpr char IAC = static_cast<char>(telnet::IAC);
    for (std::size_t at = bytes.find(IAC); at != bytes.npos; at = bytes.find(IAC, at + 2)) {
        if (at + 1 == bytes.size() || bytes[at + 1] != IAC) return false;
    }
    return true;
}

void TelnetOutputStream::writeByte(int byte) {
    using namespace telnet;
    if (last_ == CR && byte != LF && byte != NUL) {
        inner().write(LF);
        inner().flush();
    }
    if (byte == LF) {
        if (last_ != CR) inner().write(CR);
        inner().write(LF);
        inner().flush();
    } else {
        inner().write(byte);
    }
    last_ = byte;
}

void TelnetOutputStream::writeCommand(int command, int option) {
    const SynchronizedLock lock(lock_);
    writeByte(telnet::IAC);
    writeByte(command);
    writeByte(option & 0xFF);
}

void TelnetOutputStream::optionWill(int option) {
    writeCommand(telnet::WILL, option);
}

void TelnetOutputStream::optionWont(int option) {
    writeCommand(telnet::WONT, option);
}

void TelnetOutputStream::optionDo(int option) {
    writeCommand(telnet::DO, option);
}

void TelnetOutputStream::optionDont(int option) {
    writeCommand(telnet::DONT, option);
}

void TelnetOutputStream::subnegotiation(int option, const std::string& parameters) {
    const SynchronizedLock lock(lock_);
    writeCommand(telnet::SB, option);
    for (const char parameter : parameters) {
        const int byte = static_cast<unsigned char>(parameter);
        writeByte(byte);
        if (byte == telnet::IAC) writeByte(byte);
    }
    writeByte(telnet::IAC);
    writeByte(telnet::SE);
}

}  // namespace teskd
