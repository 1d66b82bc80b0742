// address_names.h - which name the platform's DNS service gave an address for, and the DNS settings.
// Threads: callable from any thread.
#ifndef QUOR_PLATFORM_LINUX_DNS_ADDRESS_NAMES_H
#define QUOR_PLATFORM_LINUX_DNS_ADDRESS_NAMES_H

#include <cstdint>
#include <string>

#include "platform_linux/cancel_registry.h"

namespace quor_platform::internal {

// Remembers the newest name of an IPv4 address (network byte order).
void RememberName(std::uint32_t ipv4, const std::string& name);

// Empty: the address was not given for a name, or too long ago.
std::string NameOfAddress(std::uint32_t ipv4);

void ForgetNames();

// Look-ups that block their callers; never destroyed.
CancelRegistry& BlockingLookups();

}  // namespace quor_platform::internal

#endif
