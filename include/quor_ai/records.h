// records.h - the records that an application hands to the conference channel and receives from it.
//
// All texts are NUL-terminated; a capacity counts the terminator. They are UTF-8, but a text that was cut at
// its capacity may end inside a character. A record is plain data of fixed layout: it may be copied as bytes.
// An input field that is not terminated within its capacity is never read past its end, and refused where it
// would be sent.
#ifndef QUOR_AI_RECORDS_H
#define QUOR_AI_RECORDS_H

#include <cstddef>

#include "quor_ai/ids.h"

// ---- Given by the application ----

// TagQuorAiKelLoginInfo::linkType and the linkType of a link event: the conference link.
inline constexpr unsigned int kKelLinkTypeConference = 0;
// Likewise: the manager link.
inline constexpr unsigned int kKelLinkTypeManager = 1;

// How to reach and enter a server.
struct TagQuorAiKelLoginInfo {
    char serverAddr[256];   // host name or address
    unsigned int port;      // TCP port
    char userName[624];     // account of the conference link
    char kelPassWord[624];  // its password, sealed by the platform's key service
    char wsCode[256];  // ready-made Basic credentials; when not empty, user name and password are not used
    unsigned int linkType;  // kKelLinkTypeConference or kKelLinkTypeManager (no credentials)
};

// The state of the channel, kept for recovery after a link is rebuilt.
struct TagQuorAiKelBasicInfo {
    TagQuorAiKelLoginInfo loginInfo;  // last record given to UpdateKelLoginInfo
    char uuid[192];                   // conference id, from the check-in and site subscriptions
    char srcLang[64];                 // caption language
    char deviceId[256];               // uri of this terminal, from the capability report
    char confKey[192];                // conference token, from the overlay subscription
    char dstLang[64];                 // translation language
    unsigned int reserved;            // 0
};

// One subscription that an application asks for.
struct TagQuorAiSubscribeInfo {
    TagQuorAiSubId subId;  // which
    char confId[192];      // conference id; for AI_SUB_ID_CAPTION_OVERLAY the terminal's id
    char language[64];     // AI_SUB_ID_CAPTION: spoken language; AI_SUB_ID_TRANSLATION: wanted language
    char token[192];       // conference access token; check-in takes its own from the login client
    char uri[256];         // uri of this terminal: capability report and large-model answers
};

// One request to the large model.
struct QuorAiModelParams {
    unsigned int reserved;      // not used
    unsigned int modelVersion;  // 0 to 2; manager link only
    unsigned int reqType;       // 0 to 18
    unsigned int seqNum;        // chosen by the application; answers carry it
    unsigned int roundCnt;      // manager link only
    char token[256];            // conference link only
    char confId[192];           // conference link only
    char content[4096];         // the whole request body, printed as JSON, must fit 2048 bytes
    char uri[256];              // conference link only
};

// ---- Received by observers ----

// One participant who checked in. Also given by the application, for the sign-in report (http_records.h).
struct TagQuorAiGetSigninContent {
    char name[256];             // the person's name
    char account[256];          // the person's account
    char checkInTime[256];      // as the server sends it; no format is implied
    char type[32];              // how the person checked in, as the server sends it
    char participantName[256];  // name of the site from which the person takes part
};

// Entries of a check-in message; a longer list is refused.
inline constexpr unsigned int kQuorAiCheckinMax = 5;

// AI_SUB_ID_CHECKIN: num entries (1 to 5) are filled, the rest is zero; the length is always the whole
// record's.
struct TagQuorAiCheckinList {
    unsigned int num;                                      // entries filled
    TagQuorAiGetSigninContent content[kQuorAiCheckinMax];  // in the server's order
};

// AI_SUB_ID_CAPTION: one piece of caption or translation. Over-long texts arrive cut to capacity - 1 bytes.
struct TagQuorAiKelVoiceTranslateInfo {
    unsigned int isTranslation;  // 0 caption, 1 translation
    char srcLang[16];            // what was spoken
    char dstLang[16];            // translation only, else empty
    double startTime;            // as the server sends it; the unit is the server's
    double endTime;              // likewise
    char text[1024];             // what was said
    char transText[1024];        // translation only, else empty
    unsigned char final;         // 1: the text will not change any more; 0: interim
    char uuid[192];              // the speaking site
    char name[193];              // its display name, may be empty
};

// AI_SUB_ID_CONF_CTRL and AI_SUB_ID_CAPTION_OVERLAY.
struct TagQuorAiConfCtrlStatusInfo {
    int status;           // caption switch; 0 for the overlay
    unsigned char pause;  // overlay only: 1 paused, 0 shown
    char srcLang[16];     // control only, may be empty
    char dstLang[16];     // control only, may be empty
    int enforce;          // control: -1 when the server did not say; 0 for the overlay
};

// One site (participant) of the conference.
struct TagQuorAiSiteInfo {
    char id[192];    // the site's uuid; empty when the server did not say
    char name[256];  // its display name; empty when the server did not say
};

// Sites of a list; of a longer one nothing is delivered as AI_SUB_ID_CONF_SITE.
inline constexpr unsigned int kQuorAiSiteMax = 1600;

// AI_SUB_ID_CONF_SITE: the length is that of the head and of count entries, not of the whole array.
struct TagQuorAiSiteInfoList {
    unsigned int type;                        // kind of change, as the server sends it
    unsigned int count;                       // entries filled, 0 to kQuorAiSiteMax
    TagQuorAiSiteInfo sites[kQuorAiSiteMax];  // in the server's order
};

// Bytes of the list before its first entry.
inline constexpr std::size_t kQuorAiSiteHeadSize = offsetof(TagQuorAiSiteInfoList, sites);

// ---- Layout: applications, other languages and recorded data rely on it ----

static_assert(sizeof(TagQuorAiSubId) == 4, "service ids are 32-bit unsigned");
static_assert(sizeof(TagQuorAiKelLoginInfo) == 1768 && offsetof(TagQuorAiKelLoginInfo, port) == 256 &&
                  offsetof(TagQuorAiKelLoginInfo, userName) == 260 &&
                  offsetof(TagQuorAiKelLoginInfo, kelPassWord) == 884 &&
                  offsetof(TagQuorAiKelLoginInfo, wsCode) == 1508 &&
                  offsetof(TagQuorAiKelLoginInfo, linkType) == 1764,
              "layout of the login record");
static_assert(sizeof(TagQuorAiKelBasicInfo) == 2540 && offsetof(TagQuorAiKelBasicInfo, uuid) == 1768 &&
                  offsetof(TagQuorAiKelBasicInfo, srcLang) == 1960 &&
                  offsetof(TagQuorAiKelBasicInfo, deviceId) == 2024 &&
                  offsetof(TagQuorAiKelBasicInfo, confKey) == 2280 &&
                  offsetof(TagQuorAiKelBasicInfo, dstLang) == 2472 &&
                  offsetof(TagQuorAiKelBasicInfo, reserved) == 2536,
              "layout of the channel state");
static_assert(sizeof(TagQuorAiSubscribeInfo) == 708 && offsetof(TagQuorAiSubscribeInfo, confId) == 4 &&
                  offsetof(TagQuorAiSubscribeInfo, language) == 196 &&
                  offsetof(TagQuorAiSubscribeInfo, token) == 260 &&
                  offsetof(TagQuorAiSubscribeInfo, uri) == 452,
              "layout of the subscription request");
static_assert(sizeof(QuorAiModelParams) == 4820 && offsetof(QuorAiModelParams, token) == 20 &&
                  offsetof(QuorAiModelParams, confId) == 276 && offsetof(QuorAiModelParams, content) == 468 &&
                  offsetof(QuorAiModelParams, uri) == 4564,
              "layout of the large-model request");
static_assert(sizeof(TagQuorAiGetSigninContent) == 1056 && offsetof(TagQuorAiGetSigninContent, type) == 768 &&
                  offsetof(TagQuorAiGetSigninContent, participantName) == 800,
              "layout of a check-in entry");
static_assert(sizeof(TagQuorAiCheckinList) == 5284, "layout of the check-in list");
static_assert(sizeof(TagQuorAiKelVoiceTranslateInfo) == 2496 &&
                  offsetof(TagQuorAiKelVoiceTranslateInfo, startTime) == 40 &&
                  offsetof(TagQuorAiKelVoiceTranslateInfo, text) == 56 &&
                  offsetof(TagQuorAiKelVoiceTranslateInfo, transText) == 1080 &&
                  offsetof(TagQuorAiKelVoiceTranslateInfo, final) == 2104 &&
                  offsetof(TagQuorAiKelVoiceTranslateInfo, uuid) == 2105 &&
                  offsetof(TagQuorAiKelVoiceTranslateInfo, name) == 2297,
              "layout of the caption record");
static_assert(sizeof(TagQuorAiConfCtrlStatusInfo) == 44 &&
                  offsetof(TagQuorAiConfCtrlStatusInfo, pause) == 4 &&
                  offsetof(TagQuorAiConfCtrlStatusInfo, srcLang) == 5 &&
                  offsetof(TagQuorAiConfCtrlStatusInfo, dstLang) == 21 &&
                  offsetof(TagQuorAiConfCtrlStatusInfo, enforce) == 40,
              "layout of the control status");
static_assert(sizeof(TagQuorAiSiteInfo) == 448 && sizeof(TagQuorAiSiteInfoList) == 716808 &&
                  kQuorAiSiteHeadSize == 8,
              "layout of the site list");

namespace QuorAiEngine {

using ::QuorAiModelParams;
using ::TagQuorAiCheckinList;
using ::TagQuorAiConfCtrlStatusInfo;
using ::TagQuorAiGetSigninContent;
using ::TagQuorAiKelBasicInfo;
using ::TagQuorAiKelLoginInfo;
using ::TagQuorAiKelVoiceTranslateInfo;
using ::TagQuorAiSiteInfo;
using ::TagQuorAiSiteInfoList;
using ::TagQuorAiSubscribeInfo;

}  // namespace QuorAiEngine

#endif
