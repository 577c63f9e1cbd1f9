// The daemon's configuration: one store, filled at start-up, and its typed accessors.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/LogSource.h"

namespace teskd {

// A map from "[SECTION] NAME" to text. The constructor stores every default, merges the files over
// them, rewrites the software-update file and dumps the result to "/tmp/dump_map.ini". A file that
// cannot be read or written is logged; no content of a file makes construction fail. After a file
// that exists but was not read, HOSTS_ALLOWED lets no other machine connect until a later file sets
// it.
//
// Owner: getConfig(). Threads: filled before any thread starts and only read afterwards, so it
// needs no lock; the accessors never insert (the map's own operator[] does). Errors: accessors
// throw only what their comments name; a text that is no number is converted as far as possible.
class ZqConfig : public std::map<std::string, std::string> {
  public:
    using Map = std::map<std::string, std::string>;

    // Most serial ports that are served, whatever PORT_ASYNC lists.
    static constexpr std::size_t MOST_ASYNC_PORTS = 4096;

    ZqConfig();

    // Merges a file into the map; a missing file counts as an empty one. False, with a line in the
    // log, if the file cannot be read: no permission, not a regular file, too large, or a failure
    // of the system.
    static bool parse_file(const std::string& path, Map& map);
    // Writes the map to the file with ConfigFile::replace. A failure is only logged.
    static void write_file(const std::string& path, const Map& map);

    // The items of a list, separated by blanks, commas or semicolons.
    static std::vector<std::string> split_list(const std::string& list);
    // "address:port" for every address: with the port at the same position of the other list, or
    // with the last port if there are fewer ports.
    static std::list<std::string> pair_endpoints(const std::string& addressList,
                                                 const std::string& portList);

    // True only for the value "true".
    static bool is_tesk_enabled();
    // For an administrator, while the daemon is not enabled: the value, and the files that may set
    // it, with the reason for each that cannot be read.
    static std::string why_disabled();

    // "address:port" of the notification server.
    static std::string get_server_address();
    // "address:port" of every local endpoint to listen on.
    static std::list<std::string> get_local_addresses();
    // The addresses and networks that hosts may connect from, as written. None if no file has the
    // key: then every host may connect.
    static std::optional<std::string_view> get_hosts_allowed();

    // Numbers of the serial ports in use.
    static std::vector<int> get_async_ports();
    // "address:port" of the telnet endpoint of serial port n.
    static std::string get_port_address(int n);
    // Line settings of serial port n as RFC 2217 values.
    // @throws TelnetFeatureNotAvailableException for a word that is no setting
    static int get_port_baudrate(int n);
    static int get_port_datasize(int n);
    static int get_port_parity(int n);
    static int get_port_stopsize(int n);
    static int get_port_flowcontrol(int n);

    // Milliseconds between two requests for the date, saturated to 32 bits.
    static std::uint32_t get_tout_ora_ms();
    // Minutes between two polling passes; never 0.
    static int get_tmp_app_collegati();
    static bool get_invio_app_collegati();
    static bool get_invio_no_app_collegati();
    // Minutes from start to the first polling pass.
    static int get_tmp_app_accensione();

    // The interface whose hardware address tells hosts and the notification server which gateway
    // this is.
    static constexpr const char* IDENTIFYING_INTERFACE = "eth0";
    // The configured hardware address of an interface, without its colons.
    static std::string get_mac_string(const std::string& interface);
    // The same as six bytes; bytes that the text does not have are left unchanged.
    static void get_mac_bytes(const std::string& interface, std::array<std::uint8_t, 6>& out);
    static std::string get_model();
    static std::string get_sw_version();
    static std::string get_manufacturer_id();
    static std::string get_tesk_connection_type();
    static std::string get_zq_connection_type();
    // Stamp of the installed software.
    static std::string get_sw_update();
    // True when the software was updated since the previous start.
    static bool is_sw_updated();

    // Local time, "%y%m%d%H%M%S" and "%d.%m.%y".
    static std::string get_current_date_time();
    static std::string get_current_date();
    // Sets the machine's clock from "YYMMDDHHMMSS", local time; ignores a text that is no date.
    // The source writes a line with the text.
    // @throws ZqConfigException "Invalid year" before 2000, or the system's error text
    static void set_current_date_time(std::string text, LogSource& log = LogSource::unlimited());

  private:
    void merge(const std::string& path);
    static void parse_text(const std::string& text, const std::string& path, Map& map);
    void write_software_update_file() const;
    // Logs that the file could not be written, with the reason in errno.
    static void log_unwritten(const std::string& path);
    // The value of the key, empty if absent; valid until the map changes.
    static const std::string& value_of(const std::string& key);
    static int port_setting(int n, const char* name);
};

// The one store, built on first use; the process builds it before main runs.
ZqConfig& getConfig();

}  // namespace teskd
