/*
 * certificate.h - where the certificates stand that the terminal trusts.
 * Threads: callable from any thread.
 */
#ifndef QUOR_PLATFORM_CERTIFICATE_H
#define QUOR_PLATFORM_CERTIFICATE_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

/* Bytes of a path, terminator included. */
#define QUOR_OM_CERT_PATH_CAPACITY 1024U

/* Which certificates: the trusted ones of HTTPS are {1, 2}. Other queries need not have an answer. */
struct QuorOmCertQuery {
    unsigned int usage; /* what they are for; 1: those that are trusted */
    unsigned int kind;  /* whose; 2: of HTTPS */
};

/* Where certificates stand. */
struct QuorOmCertPath {
    char path[QUOR_OM_CERT_PATH_CAPACITY]; /* NUL-terminated; a PEM file or a directory of hashed ones */
};

/*
 * Writes the path of the certificates asked for into *out, which the caller has zeroed and owns; nothing of
 * query or out is kept. option is 0. The library asks before every HTTPS request, so that new certificates
 * take effect: the answer has to be cheap. It copies the path on, and a path of 512 bytes or more fails the
 * request. 0 success; non-zero: a null argument, an unknown query, nothing configured, or it does not exist;
 * then out->path is an empty text.
 */
unsigned int QuorOmCertGetCertPath(const struct QuorOmCertQuery* query, unsigned int option,
                                   struct QuorOmCertPath* out);

QUOR_PLATFORM_END

#endif
