// The telnet client that controls a remote serial line.
#pragma once

#include <array>
#include <bitset>
#include <cstdint>
#include <string>

#include "core/NoticeLimiter.h"
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
// Owner: one TeskMaster run. Threads: the owner's; the flusher writes pending output on the thread
// of internalTimer() and is taken off that timer before the connection closes or goes away.
// Locks: that of the output stream. Errors: the SocketException family and, from the setters,
// TelnetFeatureNotAvailableException.
class Telnet : public StreamClientSocket, public TelnetOptionInterface {
  public:
    // Flushes an output stream some time after something was written to it, without waiting; what
    // the stream has left then, it flushes DELAY later.
    class FlusherTimerTask : public TimerTask {
      public:
        static constexpr std::uint32_t DELAY = 1000;  // milliseconds

        explicit FlusherTimerTask(OutputStream& output);
        void run() override;

      private:
        OutputStream& output_;
    };

    // address: "host:port". The limiter bounds what is logged about the server; it outlives the
    // object. Without one, each connection has its own.
    explicit Telnet(const std::string& address, NoticeLimiter* notices = nullptr);
    Telnet(const Telnet&) = delete;
    Telnet& operator=(const Telnet&) = delete;
    ~Telnet() noexcept override;

    // Connects, starts the negotiation and gives the server a second for its part of it.
    void connect() override;
    void close() override;

    void optionWill(int option) override;
    void optionWont(int option) override;
    void optionDo(int option) override;
    void optionDont(int option) override;
    void subnegotiation(int option, const std::string& parameters) override;
    bool mayLog() override { return notices_.allows(); }

    // Send a line setting in RFC 2217 values; it leaves with the next flush, a second later at the
    // latest. @throws TelnetFeatureNotAvailableException while the server has not agreed
    void set_baudrate(std::uint32_t baud);
    void set_datasize(std::uint8_t bits);
    void set_parity(std::uint8_t parity);
    void set_stopsize(std::uint8_t size);
    void set_control(std::uint8_t control);

    // The RFC 2217 value of a setting's text; see serialSettingValue.
    static int string_to_number(const std::string& text);

    // What is read and written from now on has so many milliseconds together, flushes included; the
    // limit holds until it is set anew. 0: reading has no limit, and each flush its own.
    void limitTime(int milliseconds);

    // The data streams; they hide the raw ones of the socket.
    TelnetInputStream& getInputStream() { return telnetInput_; }
    TelnetOutputStream& getOutputStream() { return telnetOutput_; }
    const std::string& getPeerSignature() const { return peerSignature_; }

    // "Telnet Internal Timer": runs the flushers of every Telnet of the process.
    static Timer& internalTimer();

  private:
    // Null for an unsupported option.
    bool* flagOf(int option);
    // Answers a DO or DONT.
    void answerRequest(int option, bool isDo);
    // Answers a WILL or WONT.
    void answerOffer(int option, int answer);
    void logUnhandled(int option, int first, const std::string& rest);
    // What waits to be sent leaves a second after the first of it came, however much follows.
    void scheduleFlusher();
    void negotiate();
    void awaitServerNegotiation();
    void sendSetting(const char* name, int subcommand, const std::string& value);

    bool suppressGoAhead_ = false;
    bool comPort_ = true;
    bool binary_ = false;
    std::string peerSignature_;
    NoticeLimiter ownNotices_;
    NoticeLimiter& notices_;
    TimedInputStream timedInput_;
    BufferedInputStream bufferedInput_;
    TelnetInputStream telnetInput_;
    SendBuffer sendBuffer_;
    TelnetOutputStream telnetOutput_;
    FlusherTimerTask flusher_;
    // The answer last given to the server's WILL or WONT of each option; 0: none yet.
    std::array<int, 256> answers_{};
    // The unsupported options whose DONT (first) or DO (second) was answered.
    std::array<std::bitset<256>, 2> refused_;
};

}  // namespace teskd
