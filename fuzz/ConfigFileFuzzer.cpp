// Any bytes as the configuration files: read at the start, every setting asked for, and written.
//
//     1  which files there are: the main one, the one of the software's update, the one of the site
//     n  the first files, each behind its length in two bytes; the last one is the rest

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "config/ConfigFile.h"
#include "config/IniFormat.h"
#include "config/ZqConfig.h"
#include "core/Exception.h"
#include "fuzz/Fuzzer.h"
#include "fuzz/Pieces.h"
#include "fuzz/Require.h"

namespace teskd::fuzz {
namespace {

namespace fs = std::filesystem;

constexpr const char* MAIN_FILE = "etc/tesk_v2.ini";
constexpr const char* UPDATE_FILE = "config/.sw_update.ini";
constexpr const char* SITE_FILE = "config/config.ini";
constexpr const char* DUMP_FILE = "tmp/dump_map.ini";
constexpr const char* UPDATE_A = "[INTERNAL] SW_UPDATE_A";
constexpr const char* UPDATE_B = "[INTERNAL] SW_UPDATE_B";

// The daemon's directories, in memory where the machine has such a place.
class Root {
  public:
    Root() {
        std::string name = fs::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
        name += "/teskd-fuzz-XXXXXX";
        require(::mkdtemp(name.data()) != nullptr, "there is a directory for the files");
        path_ = name;
        for (const char* folder : {"etc", "config", "tmp"}) fs::create_directory(path_ / folder);
        ::setenv("TESKD_ROOT", name.c_str(), 1);
    }
    ~Root() {
        ::setenv("TESKD_ROOT", "/nonexistent", 1);
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    Root(const Root&) = delete;
    Root& operator=(const Root&) = delete;

    void put(const char* file, const std::string& content) const {
        std::ofstream(path_ / file, std::ios::binary) << content;
    }
    void remove(const char* file) const { fs::remove(path_ / file); }
    std::string text(const char* file) const {
        return ConfigFile::read((path_ / file).string()).value_or("");
    }
    bool holdsOnly(const char* folder, std::size_t files) const {
        const fs::directory_iterator first(path_ / folder);
        return static_cast<std::size_t>(std::distance(first, {})) <= files;
    }

  private:
    fs::path path_;
};

Root& root() {
    static Root instance;
    return instance;
}

IniFormat::Map parse(const std::string& text) {
    IniFormat::Map map;
    IniFormat::parse(text, map, [](unsigned line) { require(line > 0, "lines count from 1"); });
    return map;
}

// What the written form can tell: an empty value is none, one that begins with a bracket is a
// header, and a section ends at its first bracket.
bool isWritable(const std::string& key, const std::string& value) {
    const std::size_t end = key.find(']');
    return !value.empty() && value.front() != '[' && key.compare(end, 2, "] ") == 0 &&
           key.find(']', end + 1) == std::string::npos;
}

IniFormat::Map writablePart(const IniFormat::Map& map) {
    IniFormat::Map part;
    for (const auto& [key, value] : map) {
        if (isWritable(key, value)) part[key] = value;
    }
    return part;
}

// The map, less what cannot be written, comes back as it was; and writing twice changes nothing.
void checkWritten(const IniFormat::Map& map) {
    const IniFormat::Map part = writablePart(map);
    const std::string written = IniFormat::format(part);
    require(parse(written) == part, "what is written reads back the same");
    require(IniFormat::format(parse(written)) == written, "and is written the same again");
    parse(IniFormat::format(map));
}

template <class Ask>
void allowUnknownWord(Ask ask) {
    try {
        ask();
    } catch (const TelnetFeatureNotAvailableException&) {
        // The one error that may leave a line setting.
    }
}

void askPort(int n) {
    ZqConfig::get_port_address(n);
    allowUnknownWord([n] { ZqConfig::get_port_baudrate(n); });
    allowUnknownWord([n] { ZqConfig::get_port_datasize(n); });
    allowUnknownWord([n] { ZqConfig::get_port_parity(n); });
    allowUnknownWord([n] { ZqConfig::get_port_stopsize(n); });
    allowUnknownWord([n] { ZqConfig::get_port_flowcontrol(n); });
}

void askEverything() {
    const std::size_t before = getConfig().size();
    ZqConfig::is_tesk_enabled();
    ZqConfig::get_server_address();
    ZqConfig::get_local_addresses();
    for (const int port : ZqConfig::get_async_ports()) askPort(port);
    ZqConfig::get_tout_ora_ms();
    require(ZqConfig::get_tmp_app_collegati() != 0, "passes are never without a pause");
    ZqConfig::get_invio_app_collegati();
    ZqConfig::get_invio_no_app_collegati();
    ZqConfig::get_tmp_app_accensione();
    std::array<std::uint8_t, 6> address{};
    ZqConfig::get_mac_bytes("eth0", address);
    require(ZqConfig::get_mac_string("eth0").find(':') == std::string::npos, "no colon is left");
    ZqConfig::get_model();
    ZqConfig::get_sw_version();
    ZqConfig::get_manufacturer_id();
    ZqConfig::get_tesk_connection_type();
    ZqConfig::get_zq_connection_type();
    ZqConfig::get_sw_update();
    ZqConfig::is_sw_updated();
    require(getConfig().size() == before, "asking stores nothing");
}

// What a start leaves behind: the stamps of this software, twice, and everything that was read.
void checkFilesWritten(const ZqConfig& config) {
    const std::string& stamp = config.at(UPDATE_B);
    const IniFormat::Map stamps{{UPDATE_A, stamp}, {UPDATE_B, stamp}};
    require(root().text(UPDATE_FILE) == IniFormat::format(stamps), "both stamps are this one");
    require(root().text(DUMP_FILE) == IniFormat::format(config), "the dump is the store");
    require(root().holdsOnly("config", 2) && root().holdsOnly("tmp", 1), "nothing else is left");
    if (!isWritable(UPDATE_B, stamp)) return;
    require(parse(root().text(UPDATE_FILE)) == stamps, "the next start reads the stamps");
}

void start(Pieces& input) {
    const unsigned files = input.byte();
    for (const char* file : {MAIN_FILE, UPDATE_FILE}) {
        root().remove(file);
        if ((files & 1U << (file == UPDATE_FILE)) != 0) root().put(file, input.text());
    }
    root().remove(SITE_FILE);
    if ((files & 4) != 0) root().put(SITE_FILE, input.rest());
    const ZqConfig config;
    checkFilesWritten(config);
    static_cast<ZqConfig::Map&>(getConfig()) = config;
    askEverything();
}

}  // namespace
}  // namespace teskd::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace teskd::fuzz;
    root();
    Pieces input(data, size);
    if (size > 0 && data[0] >= 8) {
        checkWritten(parse(input.rest()));
    } else {
        start(input);
    }
    return 0;
}
