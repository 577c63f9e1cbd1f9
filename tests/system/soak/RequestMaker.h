// Draws the requests of one host. Every one has identifiers of its own, which begin with the host's
// number.
//
// Ownership: refers to the CodeIds and the random numbers. Threads: one user at a time.
// Errors: none.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "soak/Random.h"
#include "soak/Request.h"

namespace teskd::soak {

class RequestMaker {
  public:
    RequestMaker(std::uint32_t host, const std::vector<std::string>& codeIds, Random& random);

    // From here on requests belong to the next connection.
    void nextConnection() { ++connection_; }
    Request any();
    // To this machine, or to all when there is no name; type 1 to 6.
    Request toMachine(std::uint8_t type, const std::string& codeId);
    Request version();
    // Its text has bytes that a serial-port server would take for commands.
    Request withCommand(const std::string& codeId);
    // Its text has the byte FF, doubled as the server wants it.
    Request withPair(const std::string& codeId);
    // A question with so many bytes behind it that the machine does not answer.
    Request large(const std::string& codeId, std::size_t bytes);
    // Number of the last request drawn.
    std::uint32_t lastRequest() const { return request_; }

  private:
    Request blank(std::uint8_t type);
    Request daemon(std::uint8_t type);
    Request aams();
    Request tooShort(std::uint8_t type);
    void address(Request& request, const std::string& codeId);
    void setMessage(Request& request, const std::string& wire);
    std::string token() const;

    const std::uint32_t host_;
    const std::vector<std::string>& codeIds_;
    Random& random_;
    std::uint32_t connection_ = 0;
    std::uint32_t request_ = 0;
};

}  // namespace teskd::soak
