/*
 * websocket.h - the WebSocket/STOMP client: links to servers and the frames sent on them.
 *
 * A link is one WebSocket connection over TLS (RFC 6455) that speaks STOMP 1.1 or 1.2 (stomp.github.io). Link
 * ids are never 0 and are not used again within a process's life as far as 32 bits reach. Two kinds of links
 * exist: the conference link (type 0) and the manager link (type 1).
 *
 * Events. The client reports connect (28), disconnect (29) and receive (30) of all links from one thread, in
 * the order in which they happened, to the event sink that the program gave the platform; the program
 * forwards them to the library. For a receive event data is the frame as a NUL-terminated text, valid during
 * the call: the command line, one header a line, an empty line, the body. Lines end with a line feed alone
 * and escapes in header values are undone. Only MESSAGE frames come up. A link that ends without having been
 * destroyed raises exactly one disconnect event; a destroyed one raises none.
 *
 * Threads: all functions are callable from any thread, also from inside an event. None of them waits for an
 * event to be handled. Records are read during the call only and stay the caller's. Results: 0 success; any
 * other value is an error code of the platform whose reason the platform keeps for its host.
 */
#ifndef QUOR_PLATFORM_WEBSOCKET_H
#define QUOR_PLATFORM_WEBSOCKET_H

#include "quor_platform/base.h"

QUOR_PLATFORM_BEGIN

#define QUOR_OM_NMS_WEBSOCKET_HEADER_MAX 8U       /* headers of a frame */
#define QUOR_OM_NMS_WEBSOCKET_NAME_CAPACITY 256U  /* bytes of a header's name and value, each terminated */
#define QUOR_OM_NMS_WEBSOCKET_BODY_CAPACITY 2048U /* bytes of a frame's body */

/* Values of TagQuorOmNmsWebsocketStompFrame.frameKind. */

#define QUOR_OM_NMS_WEBSOCKET_FRAME_SUBSCRIBE 0U   /* a SUBSCRIBE */
#define QUOR_OM_NMS_WEBSOCKET_FRAME_UNSUBSCRIBE 1U /* an UNSUBSCRIBE */
#define QUOR_OM_NMS_WEBSOCKET_FRAME_SEND 2U        /* a SEND */

/* What a link needs to start. Texts are NUL-terminated; the caller may leave fields that it does not use
 * unwritten. */
typedef struct TagQuorOmNmsWebsocketInfo {
    unsigned int connectParam; /* 20 from this library; reserved, not interpreted */
    unsigned int port;         /* TCP port of the server */
    char separator[257];       /* the line end of outbound frames: "\n" */
    char serverAddr[257];      /* host name or address; it is also the name that the certificate must carry */
    char url[257];             /* path of the upgrade request */
    char wsCode[256];          /* Basic credentials (RFC 7617), base64; not read for a manager link */
    char confCtrlToken[256];   /* reserved, not interpreted */
    unsigned int reserved0;    /* 0 */
    unsigned int
        isManagerLink;      /* 1: manager link (type 1), without credentials; else conference link (type 0) */
    unsigned int reserved1; /* 1 */
    unsigned int reserved2; /* 0 */
} TagQuorOmNmsWebsocketInfo;

/* One STOMP header, both texts NUL-terminated. */
typedef struct TagQuorOmNmsWebsocketHeader {
    char headerName[QUOR_OM_NMS_WEBSOCKET_NAME_CAPACITY]; /* not empty */
    char headerVal[QUOR_OM_NMS_WEBSOCKET_NAME_CAPACITY];  /* unescaped; the client escapes it */
} TagQuorOmNmsWebsocketHeader;

/*
 * One outbound frame. frameKind alone chooses the STOMP command, whichever of the three functions below takes
 * the record: a SUBSCRIBE handed to QuorOmNmsWebsocketSendData is a SUBSCRIBE.
 */
typedef struct TagQuorOmNmsWebsocketStompFrame {
    unsigned int linkId;    /* from QuorOmNmsWebsocketStartUp */
    unsigned int frameKind; /* QUOR_OM_NMS_WEBSOCKET_FRAME_... */
    TagQuorOmNmsWebsocketHeader headers[QUOR_OM_NMS_WEBSOCKET_HEADER_MAX]; /* headerNum of them are read */
    unsigned int headerNum;                         /* 0 to QUOR_OM_NMS_WEBSOCKET_HEADER_MAX */
    char body[QUOR_OM_NMS_WEBSOCKET_BODY_CAPACITY]; /* a text; one that fills the array has no terminator */
} TagQuorOmNmsWebsocketStompFrame;

QUOR_PLATFORM_STATIC_ASSERT(sizeof(TagQuorOmNmsWebsocketInfo) == 1308 &&
                                offsetof(TagQuorOmNmsWebsocketInfo, separator) == 8 &&
                                offsetof(TagQuorOmNmsWebsocketInfo, serverAddr) == 265 &&
                                offsetof(TagQuorOmNmsWebsocketInfo, url) == 522 &&
                                offsetof(TagQuorOmNmsWebsocketInfo, wsCode) == 779 &&
                                offsetof(TagQuorOmNmsWebsocketInfo, confCtrlToken) == 1035 &&
                                offsetof(TagQuorOmNmsWebsocketInfo, reserved0) == 1292,
                            "layout of the start-up record");
QUOR_PLATFORM_STATIC_ASSERT(sizeof(TagQuorOmNmsWebsocketHeader) == 512, "layout of a header");
QUOR_PLATFORM_STATIC_ASSERT(sizeof(TagQuorOmNmsWebsocketStompFrame) == 6156 &&
                                offsetof(TagQuorOmNmsWebsocketStompFrame, headers) == 8 &&
                                offsetof(TagQuorOmNmsWebsocketStompFrame, headerNum) == 4104 &&
                                offsetof(TagQuorOmNmsWebsocketStompFrame, body) == 4108,
                            "layout of an outbound frame");

/*
 * Connects a link: TCP, TLS with verified chain and name, WebSocket upgrade and, on a conference link, STOMP
 * CONNECT; a manager link has no STOMP session. Waits, within the platform's own time limits, until the
 * server accepted or refused. On success *linkId is the new link and its connect event is on its way (it may
 * arrive before the call returns). On failure *linkId keeps its value, no event follows and nothing has to be
 * destroyed.
 */
unsigned int QuorOmNmsWebsocketStartUp(TagQuorOmNmsWebsocketInfo* info, unsigned int* linkId);

/*
 * Ends a link and releases it: DISCONNECT and a WebSocket close within a bound on a live link, at once on a
 * dead one. After it returned no event of this link is raised, except the one from whose handler it was
 * called. Non-zero: no such link (also one that was destroyed before).
 */
unsigned int QuorOmNmsWebsocketDestory(unsigned int linkId);

/*
 * Sends a SUBSCRIBE with the record's headers and a subscription id of the client's own. A destination that
 * is subscribed on this link already is replaced: one copy of each message arrives. Returns when the frame is
 * on its way, not when the server answered. Non-zero: no such link, link dead, bad record, or the link's
 * queue is full.
 */
unsigned int QuorOmNmsWebsocketSubscribe(TagQuorOmNmsWebsocketStompFrame* frame);

/* Sends an UNSUBSCRIBE for the record's destination, with the id its SUBSCRIBE had. Results as Subscribe. */
unsigned int QuorOmNmsWebsocketUnsubscribe(TagQuorOmNmsWebsocketStompFrame* frame);

/*
 * Sends a SEND with the record's headers and body. Results as Subscribe. A body is announced with
 * content-length (bytes) and content-type application/json unless the record's headers say otherwise.
 */
unsigned int QuorOmNmsWebsocketSendData(TagQuorOmNmsWebsocketStompFrame* frame);

QUOR_PLATFORM_END

#endif
