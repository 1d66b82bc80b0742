// key_file.h - the file that holds the master key.
//
// Threads: callable from any thread. Results are false with the reason in LastFailure.
#ifndef QUOR_PLATFORM_LINUX_KEY_FILE_H
#define QUOR_PLATFORM_LINUX_KEY_FILE_H

#include <string>

#include "platform_linux/secret.h"

namespace quor_platform::internal {

constexpr std::size_t kKeyBytes = 32;  // AES-256
using SecretKey = SecretBytes<kKeyBytes>;

// Reads the master key. Refuses a file that others than its owner could have read or exchanged: it has to be
// a regular file of kKeyBytes bytes, owned by the effective user or by root, without a bit for group or
// others.
bool ReadKeyFile(const std::string& path, SecretKey& key);

// Makes a file with a new random key and mode 0600. It appears complete or not at all and replaces nothing.
bool WriteNewKeyFile(const std::string& path);

// Keeps text, and systemError's own text unless it is 0, as the thread's failure at Stage::kKey. Returns
// false.
bool RefuseKey(int systemError, const std::string& text);

}  // namespace quor_platform::internal

#endif
