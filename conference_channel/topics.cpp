// The topics that are subscribed with a SUBSCRIBE frame: one descriptor each.
#include "conference_channel/topic.h"

#include "conference_channel/kel_log.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/bounded.h"

namespace QuorAiEngine {

namespace {

constexpr TopicTexts kCheckinTexts = {
    "<KelStompSubscribeCheckin> in",
    "Null ptr.",
    nullptr,
    nullptr,
    "<KelStompSubscribeCheckin>: KelSetAiCheckinHeader failed!",
    "<KelStompSubscribeCheckin>: KelSetHeader failed!",
    "<KelStompSubscribeCheckin> success",
    [](unsigned int code) {
        KEL_LOG_ERROR("<KelStompSubscribeCheckin>: QuorOmNmsWebsocketSubscribe reeCode %d",
                      static_cast<int>(code));
    },
};

constexpr TopicTexts kCaptionTexts = {
    nullptr,
    "<KelStompSubscribeAiCaption>: subInfo is nullptr!",
    "<KelStompSubscribeAiCaption>: memset_s stHeader failed!",
    "<KelStompSubscribeAiCaption>: memset_s stmFrame failed!",
    "<KelStompSubscribeAiCaption>: KelSetAiSubCaptionHeader failed!",
    "<KelStompSubscribeAiCaption>: KelSetHeader failed!",
    "<KelStompSubscribeAiCaption> success",
    [](unsigned int /*code*/) {
        KEL_LOG_ERROR("<KelStompSubscribeAiCaption>: QuorOmNmsWebsocketSubscribe error");
    },
};

constexpr TopicTexts kConfCtrlTexts = {
    "<KelStompSubscribeConfCtrlStatus> in",
    "<KelStompSubscribeConfCtrlStatus>: subInfo is nullptr!",
    "<KelStompSubscribeConfCtrlStatus>: memset_s stHeader failed!",
    "<KelStompSubscribeConfCtrlStatus>: memset_s stmFrame failed!",
    "<KelStompSubscribeConfCtrlStatus>: KelSetAiSubCaptionHeader failed!",
    "<KelStompSubscribeConfCtrlStatus>: KelSetHeader failed!",
    "<KelStompSubscribeConfCtrlStatus> success",
    [](unsigned int code) {
        KEL_LOG_ERROR("<KelStompSubscribeConfCtrlStatus>: QuorOmNmsWebsocketSubscribe reeCode %d",
                      static_cast<int>(code));
    },
};

constexpr TopicTexts kConfSiteTexts = {
    "<KelStompSubscribeConfSiteStatus> in",
    "<KelStompSubscribeConfSiteStatus>: subInfo is nullptr!",
    "<KelStompSubscribeConfSiteStatus>: memset_s stHeader failed!",
    "<KelStompSubscribeConfSiteStatus>: memset_s stmFrame failed!",
    "<KelStompSubscribeConfSiteStatus>: KelSetAiSubCaptionHeader failed!",
    "<KelStompSubscribeConfSiteStatus>: KelSetHeader failed!",
    "<KelStompSubscribeConfSiteStatus> success",
    [](unsigned int code) {
        KEL_LOG_ERROR("<KelStompSubscribeConfSiteStatus>: QuorOmNmsWebsocketSubscribe reeCode %d",
                      static_cast<int>(code));
    },
};

constexpr TopicTexts kOverlayTexts = {
    "<KelStompSubscribeCaptinOverlay> in",
    "Null ptr.",
    "<KelStompSubscribeCaptinOverlay>: memset_s stHeader failed!",
    "<KelStompSubscribeCaptinOverlay>: memset_s stmFrame failed!",
    "<KelStompSubscribeCaptinOverlay>: KelSetAiCaptionOverlayHeader failed!",
    "<KelStompSubscribeCaptinOverlay>: KelSetHeader failed!",
    "<KelStompSubscribeCaptinOverlay> success",
    [](unsigned int code) {
        KEL_LOG_ERROR("<KelStompSubscribeCaptinOverlay>: QuorOmNmsWebsocketSubscribe reeCode %d",
                      static_cast<int>(code));
    },
};

}  // namespace

const AiKelBasic::TopicDescriptor AiKelBasic::kCheckinTopic = {
    kCheckinTexts,
    2,
    false,
    [](const TagQuorAiSubscribeInfo& subInfo) {
        if (strcpy_s(m_kelBasicInfo.uuid, sizeof(m_kelBasicInfo.uuid), subInfo.confId) != 0) {
            KEL_LOG_ERROR("<KelStompSubscribeCheckin>: strncpy_s uuid failed!");
            return false;
        }
        return true;
    },
    nullptr,
    [](AiKelBasic& channel, const TagQuorAiSubscribeInfo& subInfo, StringList& names, StringList& values) {
        return channel.KelSetAiCheckinHeader(subInfo, names, values);
    },
    &AiKelBasic::KelParseCheckinTextMessage,
};

const AiKelBasic::TopicDescriptor AiKelBasic::kCaptionTopic = {
    kCaptionTexts,
    3,
    true,
    nullptr,
    [](const TagQuorAiSubscribeInfo& subInfo) {
        if (strcpy_s(m_kelBasicInfo.srcLang, sizeof(m_kelBasicInfo.srcLang), subInfo.language) != 0) {
            KEL_LOG_ERROR("<KelStompSubscribeAiCaption>: strcpy_s srcLang failed!");
            return false;
        }
        return true;
    },
    [](AiKelBasic& channel, const TagQuorAiSubscribeInfo& subInfo, StringList& names, StringList& values) {
        return channel.KelSetAiCaptionHeader(&subInfo, names, values);
    },
    &AiKelBasic::KelVoiceParseTextMessage,
};

const AiKelBasic::TopicDescriptor AiKelBasic::kTranslationTopic = {
    kCaptionTexts,
    3,
    true,
    nullptr,
    [](const TagQuorAiSubscribeInfo& subInfo) {
        if (strcpy_s(m_kelBasicInfo.dstLang, sizeof(m_kelBasicInfo.dstLang), subInfo.language) != 0) {
            KEL_LOG_ERROR("<KelStompSubscribeAiCaption>: strcpy_s dstLang failed!");
            return false;
        }
        return true;
    },
    kCaptionTopic.build,
    &AiKelBasic::KelVoiceParseTransTextMessage,
};

const AiKelBasic::TopicDescriptor AiKelBasic::kConfCtrlTopic = {
    kConfCtrlTexts,
    2,
    true,
    nullptr,
    [](const TagQuorAiSubscribeInfo& /*subInfo*/) {
        m_lastConfCtrlStatus = -1;  // no status yet: the first one counts as a change, unless it is -1
        return true;
    },
    [](AiKelBasic& channel, const TagQuorAiSubscribeInfo& subInfo, StringList& names, StringList& values) {
        return channel.KelSetAiConfCtrlHeader(&subInfo, names, values);
    },
    &AiKelBasic::KelConfCtrlParseTextMessage,
};

const AiKelBasic::TopicDescriptor AiKelBasic::kConfSiteTopic = {
    kConfSiteTexts,
    3,
    true,
    [](const TagQuorAiSubscribeInfo& subInfo) {
        if (strcpy_s(m_kelBasicInfo.uuid, sizeof(m_kelBasicInfo.uuid), subInfo.confId) != 0) {
            KEL_LOG_ERROR("<KelStompSubscribeAiCaption>: strncpy_s uuid failed!");
            return false;
        }
        return true;
    },
    nullptr,
    [](AiKelBasic& channel, const TagQuorAiSubscribeInfo& subInfo, StringList& names, StringList& values) {
        return channel.KelSetAiConfSiteHeader(&subInfo, names, values);
    },
    &AiKelBasic::KelConfSiteParseTextMessage,
};

const AiKelBasic::TopicDescriptor AiKelBasic::kOverlayTopic = {
    kOverlayTexts,
    3,
    true,
    [](const TagQuorAiSubscribeInfo& subInfo) {
        if (strcpy_s(m_kelBasicInfo.confKey, sizeof(m_kelBasicInfo.confKey), subInfo.token) != 0) {
            KEL_LOG_ERROR("<KelStompSubscribeCaptinOverlay>: strcpy_s confKey failed!");
            return false;
        }
        return true;
    },
    nullptr,
    [](AiKelBasic& channel, const TagQuorAiSubscribeInfo& subInfo, StringList& names, StringList& values) {
        return channel.KelSetAiCaptionOverlayHeader(&subInfo, names, values);
    },
    &AiKelBasic::KelCaptionOverlayParseTextMessage,
};

int AiKelBasic::KelStompSubscribeCheckin(const TagQuorAiSubscribeInfo* subInfo) {
    return KelSubscribeTopic(kCheckinTopic, subInfo);
}

int AiKelBasic::KelStompSubscribeAiCaption(const TagQuorAiSubscribeInfo* subInfo) {
    const bool translation = subInfo != nullptr && subInfo->subId != AI_SUB_ID_CAPTION;
    return KelSubscribeTopic(translation ? kTranslationTopic : kCaptionTopic, subInfo);
}

int AiKelBasic::KelStompSubscribeConfCtrlStatus(const TagQuorAiSubscribeInfo* subInfo) {
    return KelSubscribeTopic(kConfCtrlTopic, subInfo);
}

int AiKelBasic::KelStompSubscribeConfSiteStatus(const TagQuorAiSubscribeInfo* subInfo) {
    return KelSubscribeTopic(kConfSiteTopic, subInfo);
}

int AiKelBasic::KelStompSubscribeCaptinOverlay(const TagQuorAiSubscribeInfo* subInfo) {
    return KelSubscribeTopic(kOverlayTopic, subInfo);
}

}  // namespace QuorAiEngine
