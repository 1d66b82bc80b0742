// ids.h - the service ids: they name subscriptions, requests and results alike.
#ifndef QUOR_AI_IDS_H
#define QUOR_AI_IDS_H

// One id selects the subscribe operation, labels the liveness counter and tells an observer which record it
// receives. Beside each id: what an observer gets under it (records.h, http_records.h).
enum TagQuorAiSubId : unsigned int {
    AI_SUB_ID_CHECKIN = 0,                // TagQuorAiCheckinList, always whole
    AI_SUB_ID_CAPTION = 1,                // TagQuorAiKelVoiceTranslateInfo, captions and translations
    AI_SUB_ID_CONF_CTRL = 2,              // TagQuorAiConfCtrlStatusInfo
    AI_SUB_ID_CONF_SITE = 3,              // head and entries of TagQuorAiSiteInfoList
    AI_SUB_ID_CAPTION_OVERLAY = 4,        // TagQuorAiConfCtrlStatusInfo
    AI_SUB_ID_ABILITY_REPORT = 5,         // nothing: the reply is only logged
    AI_SUB_ID_KEL_SERVER_DETECT = 6,      // nothing reaches observers
    AI_SUB_ID_WS_CONNECTED = 7,           // unsigned int: the conference link's id, or 0 for the manager link
    AI_SUB_ID_LLM_RESULT_KEL = 8,         // the frame's text; the length counts no terminator
    AI_SUB_ID_LLM_RESULT_MANAGER = 9,     // the text received; the length counts the terminator
    AI_SUB_ID_QUERY_CONF_LIST = 10,       // head and entries of TagQuorAiConfList
    AI_SUB_ID_FACE_RECOGNIZE = 11,        // tagQuorAiFaceEUADetectResult
    AI_SUB_ID_FACE_PHOTO = 12,            // head and entries of TagQuorAiFacePhotoList
    AI_SUB_ID_QUERY_SIGN_IN = 13,         // TagQuorAiGetSignIn
    AI_SUB_ID_REPORT_SIGN_IN = 14,        // TagQuorAiReportSiginIn
    AI_SUB_ID_TRANSLATION = 15,           // never notified: translations arrive under AI_SUB_ID_CAPTION
    AI_SUB_ID_REPORT_AV_MATCH = 16,       // TagQuorAiAVMatchtData
    AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN = 17  // TagQuorAiAccountCheckInInfo
};

// Entries of every table that is indexed by a service id; a subscription of an id from here on is refused.
inline constexpr unsigned int kQuorAiSubIdTableSize = 24;

namespace QuorAiEngine {

using ::TagQuorAiSubId;

}  // namespace QuorAiEngine

#endif
