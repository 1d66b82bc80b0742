// Captions and their translations. Both reach observers under AI_SUB_ID_CAPTION and log under the caption
// handler's name, in a spelling that log readers know ("prase", "faild"; "get site" for uuid, "get text" for
// transText). isTranslation tells them apart.
#include <cjson/cJSON.h>

#include "common/scope.h"
#include "conference_channel/kel_json.h"
#include "conference_channel/kel_log.h"
#include "conference_channel/topic_result.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/bounded.h"

namespace QuorAiEngine {

namespace {

constexpr unsigned int kCaptionMark = 0;
constexpr unsigned int kTranslationMark = 1;

bool GetText(cJSON* root, TagQuorAiKelVoiceTranslateInfo& record) {
    if (KelJsonGetStr(root, "text", record.text, sizeof(record.text)) != 0) {
        QUOR_TRACE(kTraceMissingField, "<KelVoiceParseTextMessage>: get text failed");
        return false;
    }
    return true;
}

bool GetSrcLang(cJSON* root, TagQuorAiKelVoiceTranslateInfo& record) {
    if (KelJsonGetStr(root, "srcLang", record.srcLang, sizeof(record.srcLang)) != 0) {
        QUOR_TRACE(kTraceMissingField, "<KelVoiceParseTextMessage>: get srcLanguage failed");
        return false;
    }
    return true;
}

// The speaking site, whose display name is optional, and whether the text is final.
bool GetSpeakerAndFinal(cJSON* root, TagQuorAiKelVoiceTranslateInfo& record) {
    if (KelJsonGetStr(root, "uuid", record.uuid, sizeof(record.uuid)) != 0) {
        QUOR_TRACE(kTraceMissingField, "<KelVoiceParseTextMessage>: get site failed");
        return false;
    }
    if (KelJsonGetStr(root, "name", record.name, sizeof(record.name)) != 0) {
        record.name[0] = '\0';
    }
    if (KelJsonGetBool(root, "final", &record.final) != 0) {
        QUOR_TRACE(kTraceMissingField, "<KelVoiceParseTextMessage>: get final failed");
        return false;
    }
    return true;
}

bool GetTimes(cJSON* root, TagQuorAiKelVoiceTranslateInfo& record) {
    if (KelJsonGetDouble(root, "startTime", &record.startTime) != 0) {
        QUOR_TRACE(kTraceMissingField, "<KelVoiceParseTextMessage>: get startTime failed");
        return false;
    }
    if (KelJsonGetDouble(root, "endTime", &record.endTime) != 0) {
        QUOR_TRACE(kTraceMissingField, "<KelVoiceParseTextMessage>: get endTime failed");
        return false;
    }
    return true;
}

// The steps that both handlers begin with. Null: bad input or no document, logged.
JsonPtr BeginMessage(const char* body, unsigned int bodyLen, TagQuorAiKelVoiceTranslateInfo& record) {
    if (body == nullptr || bodyLen == 0) {
        KEL_LOG_ERROR("<KelVoiceParseTextMessage>: input is error");
        return nullptr;
    }
    if (memset_s(&record, sizeof(record), 0, sizeof(record)) != 0) {
        KEL_LOG_ERROR("<KelVoiceParseTextMessage>: memset_s transinfo faild");
        return nullptr;
    }
    JsonPtr root(cJSON_Parse(body));
    if (root == nullptr) {
        KEL_LOG_ERROR("<KelVoiceParseTextMessage>: prase root faild");
    }
    return root;
}

}  // namespace

int AiKelBasic::KelVoiceParseTextMessage(const char* body, unsigned int bodyLen) {
    TagQuorAiKelVoiceTranslateInfo record;
    JsonPtr root = BeginMessage(body, bodyLen, record);
    if (root == nullptr) {
        return 1;
    }
    if (!GetText(root.get(), record) || !GetSpeakerAndFinal(root.get(), record) ||
        !GetSrcLang(root.get(), record) || !GetTimes(root.get(), record)) {
        return kMissingField;
    }
    record.isTranslation = kCaptionMark;
    root.reset();
    Notify(AI_SUB_ID_CAPTION, reinterpret_cast<unsigned char*>(&record), sizeof(record));
    return 0;
}

unsigned int AiKelBasic::KelParseTransTextMessage(cJSON* root, TagQuorAiKelVoiceTranslateInfo& record) {
    if (!GetSrcLang(root, record)) {
        return kMissingFieldUnsigned;
    }
    if (KelJsonGetStr(root, "dstLang", record.dstLang, sizeof(record.dstLang)) != 0) {
        QUOR_TRACE(kTraceMissingField, "<KelVoiceParseTextMessage>: get dstLanguage failed");
        return kMissingFieldUnsigned;
    }
    if (!GetText(root, record)) {
        return kMissingFieldUnsigned;
    }
    if (KelJsonGetStr(root, "transText", record.transText, sizeof(record.transText)) != 0) {
        QUOR_TRACE(kTraceMissingField, "<KelVoiceParseTextMessage>: get text failed");
        return kMissingFieldUnsigned;
    }
    return 0;
}

int AiKelBasic::KelVoiceParseTransTextMessage(const char* body, unsigned int bodyLen) {
    TagQuorAiKelVoiceTranslateInfo record;
    JsonPtr root = BeginMessage(body, bodyLen, record);
    if (root == nullptr) {
        return 1;
    }
    if (KelParseTransTextMessage(root.get(), record) != 0) {
        KEL_LOG_ERROR("<KelVoiceParseTextMessage>: KelParseTransTextMessage faild");
        return 1;
    }
    if (!GetSpeakerAndFinal(root.get(), record) || !GetTimes(root.get(), record)) {
        return kMissingField;
    }
    record.isTranslation = kTranslationMark;
    root.reset();
    Notify(AI_SUB_ID_CAPTION, reinterpret_cast<unsigned char*>(&record), sizeof(record));
    return 0;
}

}  // namespace QuorAiEngine
