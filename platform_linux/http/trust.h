// trust.h - the trusted certificates of HTTPS requests, read once and again when their file or directory
// changes. Threads: callable from any thread.
#ifndef QUOR_PLATFORM_LINUX_HTTP_TRUST_H
#define QUOR_PLATFORM_LINUX_HTTP_TRUST_H

#include <openssl/x509_vfy.h>

#include <memory>
#include <string>

#include "quor_platform_linux/host.h"

namespace quor_platform::internal {

// What stood in a file or directory at one time. tag differs between any two of them: connections made under
// different ones must not be mistaken for each other.
struct Trust {
    struct StoreFreed {
        void operator()(X509_STORE* certificates) const { X509_STORE_free(certificates); }
    };
    std::string path;
    std::string tag;
    std::unique_ptr<X509_STORE, StoreFreed> store;
};
using TrustPointer = std::shared_ptr<const Trust>;

// The certificates at path as they are now. The same object as before unless the device, inode, time or size
// of the path or of a certificate in a directory changed; costs one look at each of these files then. Null
// with *failure set: missing, empty or unreadable.
TrustPointer LoadTrust(const std::string& path, Failure* failure);

}  // namespace quor_platform::internal

#endif
