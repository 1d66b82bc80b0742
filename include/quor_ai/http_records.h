// http_records.h - the records that an application hands to the HTTP services and receives from them.
//
// All texts are NUL-terminated; a capacity counts the terminator. They are UTF-8, but a text that was cut at
// its capacity may end inside a character. A record is plain data of fixed layout: it may be copied as bytes.
// An input field that is not terminated within its capacity is never read past its end.
// Addresses of the conference management server are a host name or an address without a scheme; those of the
// face service carry their scheme ("https://...").
#ifndef QUOR_AI_HTTP_RECORDS_H
#define QUOR_AI_HTTP_RECORDS_H

#include <cstddef>

#include "quor_ai/ids.h"
#include "quor_ai/records.h"

// ---- Participant list (AI_SUB_ID_QUERY_CONF_LIST) ----

// The request.
struct TagQuorAiKelInfo {
    char serverAddr[256];     // host name, IPv4 or IPv6
    unsigned int serverPort;  // TCP port
    char confId[192];         // conference id
    char token[192];          // conference token
};

// The result: the length is that of the head and of siteCount entries, not of the whole array.
struct TagQuorAiConfList {
    unsigned int parsed;                      // 1: the server sent a list, which may be empty
    unsigned int siteCount;                   // entries filled, 0 to kQuorAiSiteMax
    TagQuorAiSiteInfo sites[kQuorAiSiteMax];  // in the server's order
};

// Bytes of the list before its first entry.
inline constexpr std::size_t kQuorAiConfListHeadSize = offsetof(TagQuorAiConfList, sites);

// ---- Sign-in lists (AI_SUB_ID_QUERY_SIGN_IN) ----

// The request: one page of one of the two lists.
struct TagQuorAiQuerySignIn {
    char confId[192];         // conference id
    unsigned int page;        // 0 is the first page
    unsigned int size;        // entries of a page; more than kQuorAiSignInMax cannot be received
    unsigned char checkedIn;  // 1: who checked in, with details; 0: who did not
    unsigned char history;    // 1: the conference is over
    unsigned int serverPort;  // TCP port
    char serverAddr[256];     // host name or IPv4
};

// Entries of a page that can be received.
inline constexpr unsigned int kQuorAiSignInMax = 32;

// The result: count entries are filled, the rest is zero; the length is always the whole record's.
struct TagQuorAiGetSignIn {
    unsigned int totalElements;  // entries of the whole list
    unsigned int totalPages;     // pages of the whole list
    unsigned int number;         // this page, from 0
    unsigned int count;          // entries filled, 0 to kQuorAiSignInMax
    unsigned char checkedIn;     // as in the request
    unsigned char history;       // as in the request
    // Only name and account are filled when checkedIn is 0.
    TagQuorAiGetSigninContent entries[kQuorAiSignInMax];
};

// ---- Sign-in report (AI_SUB_ID_REPORT_SIGN_IN) ----

// People of a report.
inline constexpr unsigned int kQuorAiReportSignInMax = 5;
// TagQuorAiReportSiginIn::tokenSource: send ownToken. Any other value: the login client's conference token.
inline constexpr unsigned int kQuorAiTokenSourceOwn = 1;

// The request, and the result with the same content. The spelling is part of the interface.
struct TagQuorAiReportSiginIn {
    char confId[192];                                           // conference id
    unsigned int reportCount;                                   // 1 to kQuorAiReportSignInMax
    TagQuorAiGetSigninContent entries[kQuorAiReportSignInMax];  // who signed in; reportCount are read
    unsigned int serverPort;                                    // TCP port
    char serverAddr[256];      // host name, IPv4 or IPv6; a name is replaced by its address
    unsigned char result;      // of the result: 1 the server accepted the report, 0 it did not
    char ownToken[131];        // token of the application's own
    unsigned int tokenSource;  // kQuorAiTokenSourceOwn, or any other value
};

// ---- Account sign-in (AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN) ----

// The request.
struct TagQuorAiQuerySignAccount {
    char confId[192];           // conference id
    char serverAddr[256];       // host name, IPv4 or IPv6; a name is replaced by its address
    unsigned int serverPort;    // TCP port
    unsigned int accountCount;  // 1; the server gets empty texts for further ones
    char account[256];          // whom to ask about
};

// The result.
struct TagQuorAiAccountCheckInInfo {
    unsigned int httpStatus;  // 200 after a good answer; else what the server said, 0 without an answer
    char account[256];        // empty: has not checked in
    char checkInTime[128];    // as the server sends it
};

// ---- Audio-video match report (AI_SUB_ID_REPORT_AV_MATCH) ----

// A rectangle on the camera's picture, in the application's own unit; the server gets the numbers as texts.
struct TagQuorAiFaceRect {
    int x;  // left
    int y;  // top
    int w;  // width
    int h;  // height
};

// The request, and the result with the same content: the face of userid spoke from start to end.
struct TagQuorAiAVMatchtData {
    int faceid;                 // the application's number of the face
    unsigned int serverPort;    // TCP port
    long long start;            // milliseconds; sent as seconds in single precision
    long long end;              // likewise
    unsigned char success;      // of the result: 1 the server accepted the report, 0 it did not
    unsigned char reserved[3];  // 0 in the result
    float doa;                  // direction of arrival of the voice
    float score;                // of the match
    char userid[256];           // not empty
    char site[128];             // not empty
    char uuid[192];             // conference id, not empty
    char serverAddr[256];       // host name or IPv4
    char token[128];            // conference token, sent as it is; the login client must have one too
    TagQuorAiFaceRect rect;     // where the face is
};

// ---- RSE address ----

// Not used by this version.
struct QuorAiRseAddressData {
    unsigned int reserved;  // not used
};

// ---- Face recognition (AI_SUB_ID_FACE_RECOGNIZE) ----

// What the face is wanted for: the application's own numbers, handed through.
enum TagFaceRecogType : unsigned int {};

// Head of the request; picLen bytes of the picture follow it without a gap.
struct tagAI_FACE_S_DETECT_INFO {
    unsigned int requestId;      // the result carries it
    unsigned int reserved;       // not used
    TagFaceRecogType recogType;  // the result carries it
    unsigned int serverPort;     // TCP port
    char serverAddr[256];        // with scheme
    char account[256];           // user name at the face service
    char password[1024];         // sealed by the platform's key service
    unsigned int picLen;         // bytes of the picture, 1 to 4,294,965,739
};

// The result. name, photoid, score and userid count with result 0 only: with 1 and 4 they may be those of an
// earlier person of the service's list.
struct tagQuorAiFaceEUADetectResult {
    int result;  // 0 match, 1 no match or failure of the service, 2 no answer, 4 incomplete answer
    TagFaceRecogType recogType;  // of the request
    char name[256];              // of the person; empty when the service found nobody
    unsigned int requestId;      // of the request
    char photoid[128];           // the photo that matched
    int score;                   // 75 or more for a match; the fraction is cut
    char userid[256];            // of the person
    char code[32];               // of a failure of the service
    char message[128];           // of a failure of the service
};

// ---- Face photos (AI_SUB_ID_FACE_PHOTO) ----

// Ids of a request, and photos of an answer; further ones are passed over.
inline constexpr unsigned int kQuorAiFacePhotoMax = 12;
// TagQuorAiFacePhotoParam::idType; any other value stands for photo ids.
inline constexpr unsigned int kQuorAiFaceIdTypeUser = 0;

// The request.
struct TagQuorAiFacePhotoParam {
    unsigned int idCount;                // at most kQuorAiFacePhotoMax
    char ids[kQuorAiFacePhotoMax][128];  // all together, with address and path, fit a URL of 255 bytes
    unsigned int idType;                 // kQuorAiFaceIdTypeUser, or any other value
    unsigned int requestId;              // for the log; the result does not carry it
    unsigned int serverPort;             // TCP port
    char serverAddr[256];                // with scheme
    char account[256];                   // user name at the face service
    char password[1024];                 // sealed by the platform's key service
};

// One photo of a result; photoSize bytes of the photo follow it without a gap. Not aligned in the result:
// copy it out.
struct QuorAiSingleFacePhoto {
    char id[128];              // user or photo id, as in the request
    unsigned char hasPhoto;    // 1: photo bytes follow
    char errorCode[32];        // why there is no photo, in the service's words; may be empty
    char errorMessage[128];    // likewise
    unsigned char padding[3];  // 0
    unsigned int photoSize;    // bytes
};

// Bytes of a result's payload. A result fills at most one byte less, so that a photo of more than 4,193,831
// bytes does not fit with its description: it is left out, with a log record.
inline constexpr std::size_t kQuorAiFacePhotoPayloadMax = 4194128;

// The result. A request may end in several of them. The length is that of the head and of what is used of
// payload.
struct TagQuorAiFacePhotoList {
    unsigned int idType;                                // of the request
    unsigned int entryCount;                            // photos and descriptions in this result
    unsigned char payload[kQuorAiFacePhotoPayloadMax];  // entryCount times QuorAiSingleFacePhoto and photo
};

// ---- Layout: applications, other languages and recorded data rely on it ----

static_assert(sizeof(TagQuorAiKelInfo) == 644 && offsetof(TagQuorAiKelInfo, serverPort) == 256 &&
                  offsetof(TagQuorAiKelInfo, confId) == 260 && offsetof(TagQuorAiKelInfo, token) == 452,
              "layout of the participant query");
static_assert(sizeof(TagQuorAiConfList) == 716808 && kQuorAiConfListHeadSize == 8,
              "layout of the participant list");
static_assert(sizeof(TagQuorAiQuerySignIn) == 464 && offsetof(TagQuorAiQuerySignIn, page) == 192 &&
                  offsetof(TagQuorAiQuerySignIn, size) == 196 &&
                  offsetof(TagQuorAiQuerySignIn, checkedIn) == 200 &&
                  offsetof(TagQuorAiQuerySignIn, history) == 201 &&
                  offsetof(TagQuorAiQuerySignIn, serverPort) == 204 &&
                  offsetof(TagQuorAiQuerySignIn, serverAddr) == 208,
              "layout of the sign-in query");
static_assert(sizeof(TagQuorAiGetSignIn) == 33812 && offsetof(TagQuorAiGetSignIn, count) == 12 &&
                  offsetof(TagQuorAiGetSignIn, checkedIn) == 16 &&
                  offsetof(TagQuorAiGetSignIn, history) == 17 && offsetof(TagQuorAiGetSignIn, entries) == 18,
              "layout of the sign-in list");
static_assert(sizeof(TagQuorAiReportSiginIn) == 5872 &&
                  offsetof(TagQuorAiReportSiginIn, reportCount) == 192 &&
                  offsetof(TagQuorAiReportSiginIn, entries) == 196 &&
                  offsetof(TagQuorAiReportSiginIn, serverPort) == 5476 &&
                  offsetof(TagQuorAiReportSiginIn, serverAddr) == 5480 &&
                  offsetof(TagQuorAiReportSiginIn, result) == 5736 &&
                  offsetof(TagQuorAiReportSiginIn, ownToken) == 5737 &&
                  offsetof(TagQuorAiReportSiginIn, tokenSource) == 5868,
              "layout of the sign-in report");
static_assert(sizeof(TagQuorAiQuerySignAccount) == 712 &&
                  offsetof(TagQuorAiQuerySignAccount, serverAddr) == 192 &&
                  offsetof(TagQuorAiQuerySignAccount, serverPort) == 448 &&
                  offsetof(TagQuorAiQuerySignAccount, accountCount) == 452 &&
                  offsetof(TagQuorAiQuerySignAccount, account) == 456,
              "layout of the account query");
static_assert(sizeof(TagQuorAiAccountCheckInInfo) == 388 &&
                  offsetof(TagQuorAiAccountCheckInInfo, account) == 4 &&
                  offsetof(TagQuorAiAccountCheckInInfo, checkInTime) == 260,
              "layout of the account's sign-in");
static_assert(sizeof(long long) == 8 && sizeof(float) == 4, "times are 64-bit, floats single precision");
static_assert(
    sizeof(TagQuorAiAVMatchtData) == 1016 && offsetof(TagQuorAiAVMatchtData, start) == 8 &&
        offsetof(TagQuorAiAVMatchtData, end) == 16 && offsetof(TagQuorAiAVMatchtData, success) == 24 &&
        offsetof(TagQuorAiAVMatchtData, doa) == 28 && offsetof(TagQuorAiAVMatchtData, score) == 32 &&
        offsetof(TagQuorAiAVMatchtData, userid) == 36 && offsetof(TagQuorAiAVMatchtData, site) == 292 &&
        offsetof(TagQuorAiAVMatchtData, uuid) == 420 && offsetof(TagQuorAiAVMatchtData, serverAddr) == 612 &&
        offsetof(TagQuorAiAVMatchtData, token) == 868 && offsetof(TagQuorAiAVMatchtData, rect) == 996,
    "layout of the match report");
static_assert(sizeof(tagAI_FACE_S_DETECT_INFO) == 1556 &&
                  offsetof(tagAI_FACE_S_DETECT_INFO, recogType) == 8 &&
                  offsetof(tagAI_FACE_S_DETECT_INFO, serverPort) == 12 &&
                  offsetof(tagAI_FACE_S_DETECT_INFO, serverAddr) == 16 &&
                  offsetof(tagAI_FACE_S_DETECT_INFO, account) == 272 &&
                  offsetof(tagAI_FACE_S_DETECT_INFO, password) == 528 &&
                  offsetof(tagAI_FACE_S_DETECT_INFO, picLen) == 1552,
              "layout of the recognition request");
static_assert(sizeof(tagQuorAiFaceEUADetectResult) == 816 &&
                  offsetof(tagQuorAiFaceEUADetectResult, name) == 8 &&
                  offsetof(tagQuorAiFaceEUADetectResult, requestId) == 264 &&
                  offsetof(tagQuorAiFaceEUADetectResult, photoid) == 268 &&
                  offsetof(tagQuorAiFaceEUADetectResult, score) == 396 &&
                  offsetof(tagQuorAiFaceEUADetectResult, userid) == 400 &&
                  offsetof(tagQuorAiFaceEUADetectResult, code) == 656 &&
                  offsetof(tagQuorAiFaceEUADetectResult, message) == 688,
              "layout of the recognition result");
static_assert(sizeof(TagQuorAiFacePhotoParam) == 3088 && offsetof(TagQuorAiFacePhotoParam, ids) == 4 &&
                  offsetof(TagQuorAiFacePhotoParam, idType) == 1540 &&
                  offsetof(TagQuorAiFacePhotoParam, requestId) == 1544 &&
                  offsetof(TagQuorAiFacePhotoParam, serverPort) == 1548 &&
                  offsetof(TagQuorAiFacePhotoParam, serverAddr) == 1552 &&
                  offsetof(TagQuorAiFacePhotoParam, account) == 1808 &&
                  offsetof(TagQuorAiFacePhotoParam, password) == 2064,
              "layout of the photo query");
static_assert(sizeof(QuorAiSingleFacePhoto) == 296 && offsetof(QuorAiSingleFacePhoto, hasPhoto) == 128 &&
                  offsetof(QuorAiSingleFacePhoto, errorCode) == 129 &&
                  offsetof(QuorAiSingleFacePhoto, errorMessage) == 161 &&
                  offsetof(QuorAiSingleFacePhoto, padding) == 289 &&
                  offsetof(QuorAiSingleFacePhoto, photoSize) == 292,
              "layout of a photo's description");
static_assert(sizeof(TagQuorAiFacePhotoList) == 4194136, "layout of the photo list");

namespace QuorAiEngine {

using ::QuorAiRseAddressData;
using ::QuorAiSingleFacePhoto;
using ::tagAI_FACE_S_DETECT_INFO;
using ::TagFaceRecogType;
using ::TagQuorAiAccountCheckInInfo;
using ::TagQuorAiAVMatchtData;
using ::TagQuorAiConfList;
using ::tagQuorAiFaceEUADetectResult;
using ::TagQuorAiFacePhotoList;
using ::TagQuorAiFacePhotoParam;
using ::TagQuorAiFaceRect;
using ::TagQuorAiGetSignIn;
using ::TagQuorAiKelInfo;
using ::TagQuorAiQuerySignAccount;
using ::TagQuorAiQuerySignIn;
using ::TagQuorAiReportSiginIn;

}  // namespace QuorAiEngine

#endif
