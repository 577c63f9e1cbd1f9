// A host-link frame that carries an AAMS message.
#pragma once

#include <cstdint>
#include <string>

#include "dorn/DornPacket.h"

namespace teskd {

// Parses the payload's head when the frame is read, is queued with the AAMS engine, and becomes the
// engine's reply. Threads and ownership: as DornPacket.
class AamsPacket : public DornPacket {
  public:
    AamsPacket();

    // Accepts a payload of any shape. @throws as DornPacket::read
    void read(InputStream& in) override;
    void offer_to_engine(PacketContainer& engine) override;

    // Sets the payload: a head with the current code id, then the text.
    virtual void set_body(const std::string& text);

    std::int32_t get_code_id() const { return code_id_; }
    // The payload's body without its leading "-". @throws std::out_of_range when there is none
    std::string get_body() const;
    // Empties the payload, head included.
    void clear_body();

  protected:
    explicit AamsPacket(std::int32_t code_id);

  private:
    std::string prefix_;
    std::int32_t code_id_ = 0;
    std::int32_t length_ = 0;
};

}  // namespace teskd
