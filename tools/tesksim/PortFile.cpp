#include "tesksim/PortFile.h"

#include <fstream>
#include <stdexcept>

namespace tesksim {

void writePortFile(const std::filesystem::path& file, const std::vector<std::uint16_t>& ports) {
    std::filesystem::path draft = file;
    draft += ".new";
    {
        std::ofstream out(draft, std::ios::trunc);
        int number = 0;
        for (const std::uint16_t port : ports) out << ++number << ' ' << port << '\n';
        out.close();
        if (!out) throw std::runtime_error("cannot write " + draft.string());
    }
    std::filesystem::rename(draft, file);
}

}  // namespace tesksim
