// link_settings.h - the link and TLS settings of the host, copied out for a link that starts.
// Threads: callable from any thread.
#ifndef QUOR_PLATFORM_LINUX_WEBSOCKET_LINK_SETTINGS_H
#define QUOR_PLATFORM_LINUX_WEBSOCKET_LINK_SETTINGS_H

#include <string>

#include "quor_platform_linux/host.h"

namespace quor_platform::internal {

// False with *error set: a time or limit with which no link can work. Called with what SetLinkSettings took,
// when a link starts.
bool CheckLinkSettings(const LinkSettings& settings, std::string* error);

}  // namespace quor_platform::internal

#endif
