/*
 * login.h - the login client: where the conference token comes from.
 * Threads: callable from any thread.
 */
#ifndef QUOR_PLATFORM_LOGIN_H
#define QUOR_PLATFORM_LOGIN_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

/*
 * Login state changes; arguments are the platform's own, valid during the call. May run on any thread. The
 * library does nothing in it: a token is fetched for every use.
 */
typedef void (*QuorLoginCallback)(unsigned int event, void* data);

/*
 * Connects the caller to the login client and registers callback, not null, for the life of the process. 0
 * success; may be called again, also with the same callback, which is registered once. Non-zero: not
 * connected; the library tries again at the next use.
 */
int QuorLoginInitialize(QuorLoginCallback callback);

/*
 * Writes the current conference token, NUL-terminated, into the caller's buffer of capacity bytes. Asked anew
 * for every use, because tokens expire. 0 success; non-zero: not logged in, no token, or it does not fit, and
 * then token is an empty text.
 */
int QuorLoginGetConfToken(char* token, unsigned int capacity);

QUOR_PLATFORM_END

#endif
