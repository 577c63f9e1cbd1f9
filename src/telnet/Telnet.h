// The telnet client that controls a remote serial line.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <string>

#include "core/LogSource.h"
#include "core/Timer.h"
#include "core/TimerTask.h"
#include "net/BufferedInputStream.h"
#include "net/SendBuffer.h"
#include "net/StreamClientSocket.h"
#include "net/TimedInputStream.h"
#include "telnet/TelnetInputStream.h"
#include "telnet/TelnetOptionInterface.h"
#include "telnet/TelnetOutputStream.h"

namespace teskd {

// A TCP connection to a serial-port server, with option negotiation (RFC 854) and the line control
// of COM-PORT-OPTION (RFC 2217).
//
// Streams, from the socket upwards:
//     socket input  -> TimedInputStream -> BufferedInputStream -> TelnetInputStream   (data)
//     socket output <- SendBuffer <- TelnetOutputStream                     (data and commands)
//
// Owner: one TeskMaster run. Threads: the owner's; the flusher also writes pending output, on the
// thread of internalTimer(), and is cancelled before the connection is closed or destroyed.
// Locks: that of the output stream. Errors: the SocketException family and, from the setters,
// TelnetFeatureNotAvailableException.
class Telnet : public StreamClientSocket, public TelnetOptionInterface {
  public:
    // Flushes an output stream some time after a write, without blocking. While bytes remain
    // pending, it retries every DELAY.
    class FlusherTimerTask : public TimerTask {
      public:
        static constexpr std::uint32_t DELAY = 1000;  // milliseconds

        explicit FlusherTimerTask(OutputStream& output);
        void run() override;

      private:
        OutputStream& output_;
    };

    // address: "host:port". The source writes the lines about the server; it outlives the object.
    Telnet(const std::string& address, LogSource& log);
    Telnet(const Telnet&) = delete;
    Telnet& operator=(const Telnet&) = delete;
    ~Telnet() noexcept override;

    // Connects, starts the negotiation and waits up to a second for the server's part of it.
    void connect() override;
    void close() override;

    void optionWill(int option) override;
    void optionWont(int option) override;
    void optionDo(int option) override;
    void optionDont(int option) override;
    void subnegotiation(int option, const std::string& parameters) override;

    // Write a line setting (an RFC 2217 value). It is sent with the next flush, after a second at
    // the latest. @throws TelnetFeatureNotAvailableException until the server has agreed to
    // COM-PORT-OPTION
    void set_baudrate(std::uint32_t baud);
    void set_datasize(std::uint8_t bits);
    void set_parity(std::uint8_t parity);
    void set_stopsize(std::uint8_t size);
    void set_control(std::uint8_t control);

    // The RFC 2217 value of a setting's text; see serialSettingValue.
    static int string_to_number(const std::string& text);

    // Sets one deadline, in milliseconds from now, for all following reads, writes and flushes
    // together, until the next call. 0: reads have no limit and each flush its usual time-out.
    void limitTime(int milliseconds);

    // The data streams, without Telnet commands. They hide the socket's raw streams.
    TelnetInputStream& getInputStream() { return telnetInput_; }
    TelnetOutputStream& getOutputStream() { return telnetOutput_; }
    const std::string& getPeerSignature() const { return peerSignature_; }

    // "Telnet Internal Timer": runs the flushers of every Telnet of the process.
    static Timer& internalTimer();

  private:
    // The negotiation state of the option; null for an unsupported one.
    bool* flagOf(int option);
    // Answers a DO or DONT, unless it changes nothing (RFC 854 loop prevention).
    void answerRequest(int option, bool isDo);
    // Answers a WILL or WONT, unless the same answer was given last (RFC 854 loop prevention).
    void answerOffer(int option, int answer);
    void logUnhandled(int option, int first, const std::string& rest);
    // Schedules a flush FlusherTimerTask::DELAY after the first pending write. Later writes do not
    // postpone it.
    void scheduleFlusher();
    void negotiate();
    void awaitServerNegotiation();
    void sendSetting(const char* name, int subcommand, const std::string& value);

    bool suppressGoAhead_ = false;
    bool comPort_ = true;
    bool binary_ = false;
    std::string peerSignature_;
    LogSource& log_;
    TimedInputStream timedInput_;
    BufferedInputStream bufferedInput_;
    TelnetInputStream telnetInput_;
    SendBuffer sendBuffer_;
    TelnetOutputStream telnetOutput_;
    FlusherTimerTask flusher_;
    // By option: the last answer (DO or DONT) to the server's WILL or WONT; 0: none yet.
    std::array<int, 256> answers_{};
    // The unsupported options whose DONT (index 0) or DO (index 1) was refused already.
    std::array<std::bitset<256>, 2> refused_;
};

}  // namespace teskd
