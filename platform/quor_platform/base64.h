/*
 * base64.h - base64 of RFC 4648 section 4 (standard alphabet, padded, no line breaks).
 * Threads: callable from any thread. Outputs come from the accounted heap (os.h).
 */
#ifndef QUOR_PLATFORM_BASE64_H
#define QUOR_PLATFORM_BASE64_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

/*
 * Encodes inLen bytes into a new NUL-terminated text, *out, of the length returned and stored in *outLen
 * (without the terminator). The input may be a secret: no copy of it or of the text stays behind. The caller
 * frees *out with QUOR_BASE64Free or OSMemTypeFreeMon. Returns 0, with *out null and *outLen 0, for a null
 * argument, empty input, too long input or no memory.
 */
unsigned int QUOR_BASE64Encode(const unsigned char* in, unsigned int inLen, char** out, unsigned int* outLen);

/*
 * Decodes inLen characters strictly (RFC 4648 section 3: no line feeds, no other characters, complete
 * padding) into a new block, *out, which has one more byte, set to 0, than the length returned. The caller
 * frees *out. Returns 0 or a negative value, with *out null, for a null argument, empty or bad input or no
 * memory.
 */
int QUOR_BASE64Decode(const char* in, unsigned int inLen, unsigned char** out);

/*
 * Frees what QUOR_BASE64Encode or QUOR_BASE64Decode allocated. Null is ignored. The content is not wiped: the
 * caller does that.
 */
void QUOR_BASE64Free(void* p);

QUOR_PLATFORM_END

#endif
