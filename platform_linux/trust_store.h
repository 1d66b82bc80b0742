// trust_store.h - trusted certificates from a file or a directory, for links and HTTPS requests.
// Threads: callable from any thread.
#ifndef QUOR_PLATFORM_LINUX_TRUST_STORE_H
#define QUOR_PLATFORM_LINUX_TRUST_STORE_H

#include <openssl/x509_vfy.h>

#include <string>
#include <vector>

#include "quor_platform_linux/host.h"

namespace quor_platform::internal {

// Both make store trust what stands there. False with *failure set (kSettings): missing, unreadable, or
// without a single certificate.

// Reads the PEM file now.
bool TrustFile(X509_STORE* store, const std::string& file, Failure* failure);

// Looks for certificates under hash names ("3a1b2c4d.0") now; they are read when a chain is verified.
bool TrustDirectory(X509_STORE* store, const std::string& directory, Failure* failure);

// The paths of what stands under hash names now; empty for a directory that cannot be read.
std::vector<std::string> HashedFiles(const std::string& directory);

}  // namespace quor_platform::internal

#endif
