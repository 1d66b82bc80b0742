/*
 * certificate.h - where the certificates stand that the terminal trusts.
 * Threads: callable from any thread.
 */
#ifndef QUOR_PLATFORM_CERTIFICATE_H
#define QUOR_PLATFORM_CERTIFICATE_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

#define QUOR_OM_CERT_PATH_CAPACITY 1024U

/* Which certificates: the trusted ones of HTTPS are {1, 2}. */
struct QuorOmCertQuery {
    unsigned int usage;
    unsigned int kind;
};

/* path: NUL-terminated, a PEM file or a directory of hashed certificates. */
struct QuorOmCertPath {
    char path[QUOR_OM_CERT_PATH_CAPACITY];
};

/*
 * Writes the path of the certificates asked for into *out, which the caller has zeroed. option is 0. Cheap
 * enough for every request, so that new certificates take effect. 0 success; non-zero: a null argument, an
 * unknown query, nothing configured, or it does not exist; then out->path is an empty text.
 */
unsigned int QuorOmCertGetCertPath(const struct QuorOmCertQuery* query, unsigned int option,
                                   struct QuorOmCertPath* out);

QUOR_PLATFORM_END

#endif
