// A host-link frame that carries an AAMS message.
#pragma once

#include <cstdint>
#include <string>

#include "dorn/DornPacket.h"

namespace teskd {

// Reads the payload's head along with the frame, goes to the AAMS engine, and takes the engine's
// reply. Threads and ownership: as DornPacket.
class AamsPacket : public DornPacket {
  public:
    AamsPacket();

    // @throws as DornPacket::read; a payload of any shape is taken
    void read(InputStream& in) override;
    void offer_to_engine(Aams& engine) override;

    // Makes the payload: head for the present code id, and the text.
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
