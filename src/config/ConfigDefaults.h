// What the configuration is before any file is read, and which files are read.
#pragma once

#include <map>
#include <string>

namespace teskd {

// Files, in the order in which they are merged: the main file, and in the directory the
// software-update file and the one that KEY_CONFIG_FILE names by then.
inline constexpr const char* MAIN_FILE = "/etc/tesk_v2.ini";
inline constexpr const char* CONFIG_DIRECTORY = "/config/";
inline constexpr const char* SOFTWARE_UPDATE_FILE = ".sw_update.ini";

inline constexpr const char* KEY_CONFIG_FILE = "[INTERNAL] ZQ_CONFIG_FILE";
inline constexpr const char* KEY_UPDATE_A = "[INTERNAL] SW_UPDATE_A";
inline constexpr const char* KEY_UPDATE_B = "[INTERNAL] SW_UPDATE_B";
// Has no default: without it every host may connect.
inline constexpr const char* KEY_HOSTS_ALLOWED = "[IP_ADDRESS] HOSTS_ALLOWED";

// Stands for the list of hosts in a file that could not be read. It is no list, so only this
// machine itself may connect.
inline constexpr const char* HOSTS_UNREADABLE = "unreadable";

// Whether "NAME=" gives the setting an empty value; any other keeps the value it has.
bool countsWhenEmpty(const std::string& key);

// Stores every default. Ports beyond the fourth have none.
void storeDefaults(std::map<std::string, std::string>& map);

// "[PORT_ASYNC1] TCP_PORT" is this setting of serial port 1.
std::string portKey(int n, const char* name);

}  // namespace teskd
