/*
 * login.h - the login client: where the conference token comes from.
 */
#ifndef QUOR_PLATFORM_LOGIN_H
#define QUOR_PLATFORM_LOGIN_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

/* Login state changes; arguments are the platform's own. May run on any thread. */
typedef void (*QuorLoginCallback)(unsigned int event, void* data);

/* Connects the caller to the login client and registers callback for its life. 0 success; may be called
 * again. */
int QuorLoginInitialize(QuorLoginCallback callback);

/*
 * Writes the current conference token, NUL-terminated, into the caller's buffer of capacity bytes. Asked anew
 * for every use, because tokens expire. 0 success; non-zero: not logged in, no token, or it does not fit, and
 * then token is an empty text.
 */
int QuorLoginGetConfToken(char* token, unsigned int capacity);

QUOR_PLATFORM_END

#endif
