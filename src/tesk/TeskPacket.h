// The message of the Tesk link: a request to a slot machine and the machine's answer to it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "packet/Packet.h"

namespace teskd {

class InputStream;
class OutputStream;

// One object carries the request out and the answer back. All fields are ASCII, separated by "~":
//
//     request   ID "~" Len [ "~" payload ]                     ID: 3 characters, Len: 4 hex digits
//     answer    ID "~" Len "~" Date "~" CodeId "~" Outcome [ "~" body ] [ trailer ]
//
//     Len       length of the whole message in bytes, from the first byte of the ID to the last
//     Outcome   exactly 2 characters, with no separator after it
//     trailer   268 bytes, only when CodeId's second character is "N" or "P" and the body is at
//               least that long
//
// Owner: its references (see Packet). Threads: the requester fills it before it is queued; from
// then on only the master's thread uses it, and the listeners during their notification.
class TeskPacket : public Packet {
  public:
    static constexpr std::size_t TRAILER_SIZE = 268;
    // Longest answer accepted, in bytes; a larger length is treated as corrupt.
    static constexpr std::int64_t LONGEST_MESSAGE = std::int64_t{16} * 1024 * 1024;
    // Longest field before the body, in bytes.
    static constexpr std::size_t LONGEST_FIELD = 4096;
    // Between two fields.
    static constexpr char SEPARATOR = '~';
    // The ID of the request for a machine's counters.
    static constexpr int COUNTERS_ID = 113;
    // How long a machine has for its answer unless the request says otherwise, in milliseconds.
    static constexpr std::uint32_t ANSWER_TIME = 10000;

    // Reads an answer over this packet; the fields read before a failure keep their new values.
    // @throws TeskConnectionErrorException, the stream's IOException family, and
    // std::out_of_range when the CodeId is shorter than 2 characters
    virtual void read(InputStream& in);
    // Writes the request; the trailer is never written. @throws the stream's IOException family
    virtual void write(OutputStream& out);

    // Whether a telnet server passes the whole request on to the machine, reading none of it as a
    // command to itself.
    bool is_plain() const;

    void set_id(int id);
    // The ID as a number, 0 if it is not one.
    int get_id() const;
    // The bytes that write() writes, and their count.
    std::string get_request() const { return header() + body_; }
    std::size_t get_size() const { return (raw_ ? 0 : HEADER_SIZE) + body_.size(); }
    // The ID of the request. For a raw packet, that of the header at its start; none unless that
    // has an ID of three digits and a length of four.
    std::optional<int> get_asked_id() const;
    std::string get_date() const { return date_; }
    std::string get_code_id() const { return code_id_; }
    std::string get_outcome() const { return outcome_; }
    std::string get_body() const { return body_; }
    // Adds the separator before the text, unless the packet is raw or the text begins with one.
    void set_body(std::string text);
    // The message is the body as is, without a header. Holds until an answer is read.
    void set_raw() { raw_ = true; }
    bool has_trailer() const { return has_trailer_; }
    // The bytes after the answer's length that were read in one block with its end. They are part
    // of the body as well, unless they begin another message.
    const std::string& get_surplus() const { return surplus_; }
    // The surplus, if it is not part of the body.
    std::string get_unasked() const { return begins_message(surplus_) ? surplus_ : std::string(); }
    struct Header {
        int id;
        std::size_t length;  // of the whole message, as the header states it
    };
    // The header at the start of the bytes; none unless it is complete and has an ID of three
    // digits and a length of four.
    static std::optional<Header> header_of(std::string_view bytes);
    // Whether the answer read last had an ID of three digits and a length of four that covers the
    // header. Other answers are read too, but a fragment of a message is unlikely to look regular.
    bool has_regular_header() const { return regular_header_; }
    // Moves the answer that was read into the other packet here, as if it had been read into this
    // one.
    void take_answer(TeskPacket& answer);
    // An opaque value of the requester; never sent.
    std::uint32_t get_context() const { return context_; }
    void set_context(std::uint32_t context) { context_ = context; }

    // The whole message in the form of an answer, trailer included.
    std::string to_string() const;

  private:
    static constexpr std::size_t HEADER_SIZE = 8;  // of a request

    // The request's header; empty if it is raw.
    std::string header() const;
    // Reads up to the separator and adds the bytes read, with the separator, to consumed.
    static std::string read_field(InputStream& in, std::int64_t& consumed, const char* error);
    void read_body(InputStream& in, std::int64_t remaining);
    void split_trailer();
    // Whether the bytes begin with a message's header or with a part of it.
    static bool begins_message(std::string_view bytes);

    std::uint32_t context_ = 0;
    std::string id_ = "0";
    std::string date_;
    std::string code_id_;
    std::string outcome_ = "FF";
    std::string body_;
    std::string surplus_;
    bool regular_header_ = false;
    bool has_trailer_ = false;
    bool raw_ = false;
    std::array<char, TRAILER_SIZE> trailer_{};
};

}  // namespace teskd
