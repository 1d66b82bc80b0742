/*
 * http.h - the HTTP transport: requests over HTTPS (RFC 9110, RFC 9112), blocking or with a callback.
 *
 * Threads: every function is callable from any thread, sends of several threads run at the same time.
 * Lengths are bytes. The transport never redirects and takes every HTTP status for a success of its own.
 */
#ifndef QUOR_PLATFORM_HTTP_H
#define QUOR_PLATFORM_HTTP_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

/* Method codes. */
#define QUOR_HTTP_METHOD_POST 0U /* with a body */
#define QUOR_HTTP_METHOD_GET 3U  /* without one */
#define QUOR_HTTP_METHOD_PUT 5U  /* with a body */

/*
 * What became of a request; the same numbers are the results of the sends. Others are possible: 1 to 99 for
 * other failures, 101 to 199 for a server that could not be reached. 200 is never used for a failure.
 */
#if defined(__cplusplus)
enum EN_HTTP_ERRORCODE : int {
#else
enum EN_HTTP_ERRORCODE {
#endif
    HTTP_ERRORCODE_OK = 0,      /* an HTTP answer arrived, whatever its status */
    HTTP_ERRORCODE_INVALID = 1, /* a null argument, an unknown method, no URL or one that is not https */
    HTTP_ERRORCODE_NOT_INITIALISED = 2, /* before quor_http_init or after quor_http_uninit */
    HTTP_ERRORCODE_CANCELLED = 3,       /* ended by quor_http_uninit or by the host */
    HTTP_ERRORCODE_NO_MEMORY = 4,       /* not enough memory for the request or its answer */
    HTTP_ERRORCODE_ANSWER = 5,      /* not an HTTP answer, cut off, or larger than the transport accepts */
    HTTP_ERRORCODE_CERTIFICATE = 6, /* the trusted certificates are missing, empty or unreadable */
    HTTP_ERRORCODE_RESOLVE = 101,   /* the server's name has no address */
    HTTP_ERRORCODE_CONNECT = 102,   /* no connection to the server, or it ended before an answer */
    HTTP_ERRORCODE_TIMEOUT = 103,   /* a time limit passed */
    HTTP_ERRORCODE_TLS = 120,       /* the TLS handshake failed or the server's certificate was refused */
    HTTP_ERRORCODE_OK_ALSO = 200    /* callers take it for a success; this transport never reports it */
};
#if !defined(__cplusplus)
typedef enum EN_HTTP_ERRORCODE EN_HTTP_ERRORCODE;
#endif

/* Capacities in bytes, terminators included. */

#define QUOR_HTTP_HEADER_NAME_CAPACITY 64U   /* of a header's name */
#define QUOR_HTTP_HEADER_VALUE_CAPACITY 512U /* of a header's value */
#define QUOR_HTTP_CERT_PATH_CAPACITY 512U    /* of the path of the trusted certificates */
#define QUOR_HTTP_CIPHER_SUITES 8U           /* suites of a list, a number of entries */

/* One request header; both texts NUL-terminated. */
struct tagHTTP_HEADER {
    char name[QUOR_HTTP_HEADER_NAME_CAPACITY];   /* without the colon */
    char value[QUOR_HTTP_HEADER_VALUE_CAPACITY]; /* may be a secret: no copy stays behind the request */
};

/*
 * How the server is verified. Nothing here ever means to skip the certificate's name. The library asks at
 * addresses that dns.h gave it for a name: such an address is verified under that name, any other one as
 * itself.
 */
struct tagHTTP_S_TLS_PARAM {
    /* A file with PEM certificates or a directory of them as OpenSSL hashes it; nothing else is trusted. */
    char caPath[QUOR_HTTP_CERT_PATH_CAPACITY];
    unsigned int verifyPeer;      /* 1: chain and name are verified, as the transport does in any case */
    unsigned int checkRevocation; /* 0: no revocation look-up */
};

/* The suites allowed with TLS 1.2, best first. TLS 1.3 stays allowed. */
struct tagHTTP_S_CIPHER_LIST {
    unsigned int count;                           /* suites filled */
    unsigned int suites[QUOR_HTTP_CIPHER_SUITES]; /* the low 16 bits are IANA's number */
};

/*
 * Of every request. What it points to lives for the call only. Timeouts: seconds; 0: the transport's own,
 * which is never without end.
 */
struct tagHTTP_S_CONFIG_PARAM {
    struct tagHTTP_S_TLS_PARAM* tlsParam;             /* the caller's, read before the send returns */
    const struct tagHTTP_S_CIPHER_LIST* cipherSuites; /* likewise */
    void* reserved;                                   /* null */
    unsigned int firstTimeout;                        /* to be connected, TLS handshake included */
    unsigned int secondTimeout;                       /* for the whole request */
};

/*
 * A blocking request and its answer. The caller owns url, headers and body during the call; rspBody (the
 * body, NUL-terminated, null when the answer has none) and rspExtra are new accounted-heap blocks (os.h) that
 * the caller frees. After a non-zero result both are null.
 */
struct tagHTTP_S_SYN_SEND_PARAM {
    unsigned int reserved;                /* 0 */
    unsigned int method;                  /* QUOR_HTTP_METHOD_... */
    const char* url;                      /* read up to its terminator or urlLen bytes */
    unsigned int urlLen;                  /* bytes of the buffer that holds the URL */
    struct tagHTTP_HEADER* headers;       /* headerCount of them */
    unsigned int headerCount;             /* 0: none */
    const char* body;                     /* null for none */
    unsigned int bodyLen;                 /* bytes of body */
    struct tagHTTP_S_CONFIG_PARAM config; /* verification and timeouts */
    char* rspBody;                        /* written by the send: the answer's body */
    unsigned int rspStatus;               /* written by the send: HTTP status; 0 if no answer arrived */
    void* rspExtra;                       /* written by the send: null or a block of the transport's */
};

/* The answer to an asynchronous request; the transport's own until HTTPAPI_ReleaseHandle. */
struct tagST_HTTP_RSP {
    unsigned long statusCode; /* HTTP status */
    const char* body;         /* NUL-terminated; null when the answer has none */
    unsigned int bodyLen;     /* bytes of body, terminator not counted */
};

#if !defined(__cplusplus)
typedef struct tagST_HTTP_RSP tagST_HTTP_RSP;
#endif

/*
 * The end of an asynchronous request. rsp is null when no answer arrived. Runs without any lock of the
 * transport, usually on its callback thread; it may send again and must call HTTPAPI_ReleaseHandle(handle)
 * exactly once before it returns. It must not call quor_http_uninit. The result is ignored.
 */
typedef unsigned int (*QuorHttpCallback)(unsigned long handle, enum EN_HTTP_ERRORCODE error,
                                         struct tagST_HTTP_RSP* rsp, void* userData);

/* An asynchronous request. */
struct tagHTTP_S_ASYN_SEND_PARAM {
    const char* url;                      /* NUL-terminated */
    unsigned int method;                  /* QUOR_HTTP_METHOD_... */
    unsigned int zeroRun;                 /* 0 */
    const char* body;                     /* null for none */
    unsigned int bodyLen;                 /* bytes of body */
    struct tagHTTP_HEADER* headers;       /* headerCount of them */
    unsigned int headerCount;             /* 0: none */
    struct tagHTTP_S_CONFIG_PARAM config; /* verification and timeouts */
    QuorHttpCallback callback;            /* not null */
    void* userData;                       /* handed to callback as it is; its owner is the callback */
};

#if !defined(__cplusplus)
typedef struct tagHTTP_S_SYN_SEND_PARAM tagHTTP_S_SYN_SEND_PARAM;
typedef struct tagHTTP_S_ASYN_SEND_PARAM tagHTTP_S_ASYN_SEND_PARAM;
#endif

QUOR_PLATFORM_STATIC_ASSERT(sizeof(struct tagHTTP_HEADER) == 576, "a header is two texts");
QUOR_PLATFORM_STATIC_ASSERT(sizeof(struct tagHTTP_S_TLS_PARAM) == 520, "the path and two settings");
QUOR_PLATFORM_STATIC_ASSERT(sizeof(struct tagHTTP_S_CIPHER_LIST) == 36, "the count and eight suites");

/* Starts the transport. Calling it again changes nothing. 0 success; non-zero: it could not be started. */
unsigned int quor_http_init(void);

/*
 * Ends the transport: no new request is accepted, outstanding ones are finished or cancelled, their callbacks
 * have run and returned (HTTP_ERRORCODE_CANCELLED, no answer) and the transport's threads have ended when
 * this returns. Not from a callback. 0 success, also when it was not started. quor_http_init starts it again.
 */
unsigned int quor_http_uninit(void);

/* Sends and waits for the answer, bounded by the timeouts. Result: a number as EN_HTTP_ERRORCODE has them. */
unsigned int quor_http_syn_send(struct tagHTTP_S_SYN_SEND_PARAM* param);

/*
 * Sends and returns at once. Once entered with a callback, the callback runs exactly once, whatever is
 * returned, possibly before the return; *handle is the request's handle and never 0 then. Everything behind
 * param (URL, headers, body, path, suites) is copied before the return and never touched later. 0: under way.
 * Non-zero: nothing was sent; the callback has run or will run with that number and no answer.
 */
unsigned int quor_http_asyn_send(struct tagHTTP_S_ASYN_SEND_PARAM* param, unsigned long* handle);

/*
 * Frees an asynchronous request and its answer; callable inside its callback. 0 success; non-zero: unknown or
 * released handle, or its callback has not begun, and nothing happened.
 */
unsigned int HTTPAPI_ReleaseHandle(unsigned long handle);

QUOR_PLATFORM_END

#endif
