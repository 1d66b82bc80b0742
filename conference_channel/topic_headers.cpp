// The header lists of SUBSCRIBE frames.
#include "conference_channel/topic_headers.h"
#include "common/login_callbacks.h"
#include "common/record_field.h"
#include "conference_channel/header_list.h"
#include "conference_channel/kel_log.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/bounded.h"
#include "quor_platform/login.h"

namespace QuorAiEngine {

bool g_kelLoginNotInit = true;

namespace {

constexpr unsigned int kTokenCapacity = 256;

// The headers that take their token from the request: what differs, and the log texts.
struct TopicHeaderTable {
    const char* nullInput;
    const char* destinationFailed;
    const char* tokenFailed;
    const char* conferenceIdFailed;  // null: the list ends with the token
    // Formats the destination. False: it does not fit, or a field does not end.
    bool (*formatDestination)(char* destination, const TagQuorAiSubscribeInfo& subInfo);
};

constexpr TopicHeaderTable kCaptionHeader = {
    "<KelSetAiCaptionHeader>: input is nullptr!",
    "<KelSetAiCaptionHeader>: sprintf_s destination val failed!",
    "<KelSetAiCaptionHeader>: sprintf_s token val failed!",
    "<KelSetAiCaptionHeader>: strcpy conf id val failed!",
    [](char* destination, const TagQuorAiSubscribeInfo& subInfo) {
        return IsTerminated(subInfo.confId) && IsTerminated(subInfo.language) &&
               sprintf_s(destination, HeaderList::kValueCapacity, "/topic/conferences/%s/subtitle/%s",
                         subInfo.confId, subInfo.language) >= 0;
    },
};

constexpr TopicHeaderTable kConfCtrlHeader = {
    "<KelSetAiConfCtrlHeader>: input is nullptr!",
    "<KelSetAiConfCtrlHeader>: sprintf_s destination val failed!",
    "<KelSetAiConfCtrlHeader>: sprintf_s token val failed!",
    nullptr,
    [](char* destination, const TagQuorAiSubscribeInfo& subInfo) {
        return IsTerminated(subInfo.confId) && sprintf_s(destination, HeaderList::kValueCapacity,
                                                         "/topic/conferences/%s", subInfo.confId) >= 0;
    },
};

constexpr TopicHeaderTable kConfSiteHeader = {
    "<KelSetAiConfSiteHeader>: input is nullptr!",
    "<KelSetAiConfSiteHeader>: sprintf_s destination val failed!",
    "<KelSetAiConfSiteHeader>: sprintf_s token val failed!",
    "<KelSetAiConfSiteHeader>: strcpy conf id val failed!",
    [](char* destination, const TagQuorAiSubscribeInfo& subInfo) {
        return IsTerminated(subInfo.confId) &&
               sprintf_s(destination, HeaderList::kValueCapacity,
                         "/topic/conferences/%s/participantslist/general", subInfo.confId) >= 0;
    },
};

constexpr TopicHeaderTable kCaptionOverlayHeader = {
    "<KelSetAiCaptionOverlayHeader>: input is nullptr!",
    "<KelSetAiCaptionOverlayHeader>: sprintf_s destination val failed!",
    "<KelSetAiCaptionOverlayHeader>: sprintf_s token val failed!",
    "<KelSetAiCaptionOverlayHeader>: strcpy conf id val failed!",
    [](char* destination, const TagQuorAiSubscribeInfo& subInfo) {
        return IsTerminated(subInfo.confId) &&
               sprintf_s(destination, HeaderList::kValueCapacity, "/topic/terminal/%s/subtitleoverlay",
                         subInfo.confId) >= 0;
    },
};

unsigned int BuildTopicHeaders(const TopicHeaderTable& table, const TagQuorAiSubscribeInfo* subInfo,
                               std::vector<std::string>& names, std::vector<std::string>& values) {
    if (subInfo == nullptr) {
        KEL_LOG_ERROR("%s", table.nullInput);
        return 1;
    }
    HeaderList headers(names, values);
    if (!table.formatDestination(headers.Begin("destination"), *subInfo)) {
        KEL_LOG_ERROR("%s", table.destinationFailed);
        return 1;
    }
    headers.End();
    if (!headers.Format("token", subInfo->token)) {
        KEL_LOG_ERROR("%s", table.tokenFailed);
        return 1;
    }
    if (table.conferenceIdFailed != nullptr && !headers.Copy("conferenceId", subInfo->confId)) {
        KEL_LOG_ERROR("%s", table.conferenceIdFailed);
        return 1;
    }
    return 0;
}

// The token of a check-in subscription comes from the login client, not from the request, so that a rebuilt
// link gets a fresh one. A failed initialisation is tried again by the next subscription.
bool FetchConferenceToken(char (&token)[kTokenCapacity]) {
    if (g_kelLoginNotInit) {
        const int initResult = QuorLoginInitialize(LoginCallbackFun);
        if (initResult != 0) {
            KEL_LOG_ERROR("<KelSetAiCheckinHeader> QuorLoginInitialize ret: %d", initResult);
            return false;
        }
        g_kelLoginNotInit = false;
    }
    const int result = QuorLoginGetConfToken(token, kTokenCapacity);
    if (result != 0) {
        KEL_LOG_ERROR("<KelSetAiCheckinHeader> QuorLoginGetConfToken ret: %d", result);
        return false;
    }
    return true;
}

}  // namespace

unsigned int AiKelBasic::KelSetAiCheckinHeader(const TagQuorAiSubscribeInfo& subInfo, StringList& names,
                                               StringList& values) {
    HeaderList headers(names, values);
    char* destination = headers.Begin("destination");
    if (!IsTerminated(subInfo.confId) ||
        sprintf_s(destination, HeaderList::kValueCapacity, "/topic/conferences/%s/checkinservice",
                  subInfo.confId) < 0) {
        KEL_LOG_ERROR("<KelSetAiCheckinHeader>: sprintf_s destination val failed!");
        return 1;
    }
    headers.End();
    char* value = headers.Begin("token");
    char token[kTokenCapacity] = {};
    if (!FetchConferenceToken(token)) {
        return 1;
    }
    if (FormatField(value, HeaderList::kValueCapacity, token) < 0) {
        KEL_LOG_ERROR("<KelSetAiCheckinHeader>: sprintf_s token val failed!");
        return 1;
    }
    headers.End();
    return 0;
}

unsigned int AiKelBasic::KelSetAiCaptionHeader(const TagQuorAiSubscribeInfo* subInfo, StringList& names,
                                               StringList& values) {
    return BuildTopicHeaders(kCaptionHeader, subInfo, names, values);
}

unsigned int AiKelBasic::KelSetAiConfCtrlHeader(const TagQuorAiSubscribeInfo* subInfo, StringList& names,
                                                StringList& values) {
    return BuildTopicHeaders(kConfCtrlHeader, subInfo, names, values);
}

unsigned int AiKelBasic::KelSetAiConfSiteHeader(const TagQuorAiSubscribeInfo* subInfo, StringList& names,
                                                StringList& values) {
    return BuildTopicHeaders(kConfSiteHeader, subInfo, names, values);
}

unsigned int AiKelBasic::KelSetAiCaptionOverlayHeader(const TagQuorAiSubscribeInfo* subInfo,
                                                      StringList& names, StringList& values) {
    return BuildTopicHeaders(kCaptionOverlayHeader, subInfo, names, values);
}

}  // namespace QuorAiEngine
