// The default settings, and which files are read over them.
#pragma once

#include <map>
#include <string>

namespace teskd {

// The files, in the order in which they are merged: the main file, then, in the directory, the
// software-update file and the file that KEY_CONFIG_FILE names after those two are merged.
inline constexpr const char* MAIN_FILE = "/etc/tesk_v2.ini";
inline constexpr const char* CONFIG_DIRECTORY = "/config/";
inline constexpr const char* SOFTWARE_UPDATE_FILE = ".sw_update.ini";

// Where every start writes all settings.
inline constexpr const char* DUMP_FILE = "/tmp/dump_map.ini";

inline constexpr const char* KEY_ENABLE = "[INTERNAL] TESKv2_ENABLE";
inline constexpr const char* KEY_CONFIG_FILE = "[INTERNAL] ZQ_CONFIG_FILE";
inline constexpr const char* KEY_UPDATE_A = "[INTERNAL] SW_UPDATE_A";
inline constexpr const char* KEY_UPDATE_B = "[INTERNAL] SW_UPDATE_B";
// Has no default: without it every host may connect.
inline constexpr const char* KEY_HOSTS_ALLOWED = "[IP_ADDRESS] HOSTS_ALLOWED";

// The value of KEY_HOSTS_ALLOWED after a file that could not be read. It is not a valid list, so
// only this machine itself may connect.
inline constexpr const char* HOSTS_UNREADABLE = "unreadable";

// Whether "NAME=" sets the setting to an empty value. Any other setting keeps its value then.
bool storesEmptyValue(const std::string& key);

// Stores every default. Ports beyond the fourth have none.
void storeDefaults(std::map<std::string, std::string>& map);

// The key of a setting of serial port n, for example "[PORT_ASYNC1] TCP_PORT".
std::string portKey(int n, const char* name);

}  // namespace teskd
