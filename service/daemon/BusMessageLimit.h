// The largest message the system bus carries, from the bus's configuration, so that the store
// takes every request the bus can deliver.
#pragma once

#include <string>

namespace BusMessageLimit {
// dbus-daemon's built-in max_message_size, in effect when no configuration file sets one (the
// system bus's system.conf lists it, commented out, as 33554432).
inline constexpr long long kBuiltInMaxMessageSize = 32LL * 1024 * 1024;
// The system bus's configuration files, in the order dbus-daemon reads them (later wins).
inline constexpr const char* kSystemConfigFiles[] = {"/usr/share/dbus-1/system.conf", "/etc/dbus-1/system.conf",
                                                     "/etc/dbus-1/system-local.conf"};

// max_message_size as the configuration text sets it (comments skipped); -1 when it sets none
// or the value is not a whole number of bytes.
long long FromConfigText(const std::string& sText);
// From the given file when there is one (a private bus's configuration), else from the system
// bus's files; the built-in value when none sets it. sSource says where it came from.
long long Read(const std::string& sConfigFile, std::string& sSource);
}  // namespace BusMessageLimit
