/*
 * key_management.h - decryption of stored secrets and true random numbers.
 * Threads: callable from any thread.
 */
#ifndef QUOR_PLATFORM_KEY_MANAGEMENT_H
#define QUOR_PLATFORM_KEY_MANAGEMENT_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

/* A plaintext buffer of this size serves every sealed text that fits a field of the same size. */
#define QUOR_OM_KEYM_PLAIN_CAPACITY 624U

/*
 * Opens a text that was sealed for the key domain named. cipherText holds cipherLen characters and need not
 * be terminated. plainText is the caller's and has room for at least cipherLen bytes, and for one where
 * cipherLen is 0; the plaintext with its terminator is never longer than cipherLen. *plainLen receives the
 * length without the terminator. The caller wipes plainText. Result: 0 success. Non-zero: a null argument, no
 * key for the domain, a text of another domain, damaged, too long, or shorter than what it holds; then
 * plainText[0] is 0, *plainLen is 0 and nothing of the secret stays in platform memory.
 */
unsigned int QuorOmKeymDecrypt(const char* domain, const char* cipherText, unsigned int cipherLen,
                               char* plainText, unsigned int* plainLen);

/*
 * Fills out, which is the caller's, with len random bytes fit for keys: all of them (0) or an unusable buffer
 * (non-zero: out is null or the system has no random numbers). Does not wait once the system has started.
 */
int QuorOmKeymGenRealRandom(unsigned char* out, unsigned int len);

QUOR_PLATFORM_END

#endif
