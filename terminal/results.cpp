#include "results.h"

#include <algorithm>
#include <cstring>

namespace quor_terminal {
namespace {

template <std::size_t N>
std::string FieldText(const char (&field)[N]) {
    return std::string(field, strnlen(field, N));
}

template <typename Record>
bool CopyRecord(const TagAiCloudSrvResult& result, Record& record) {
    if (result.data == nullptr || result.len < sizeof(Record)) {
        return false;
    }
    std::memcpy(&record, result.data, sizeof(Record));
    return true;
}

}  // namespace

bool ReadCaption(const TagAiCloudSrvResult& result, Caption& caption) {
    TagQuorAiKelVoiceTranslateInfo record;
    if (result.id != AI_SUB_ID_CAPTION || !CopyRecord(result, record)) {
        return false;
    }
    caption.isTranslation = record.isTranslation != 0;
    caption.isFinal = record.final != 0;
    caption.site = FieldText(record.uuid);
    caption.speaker = FieldText(record.name);
    if (caption.speaker.empty()) {
        caption.speaker = caption.site;
    }
    caption.srcLang = FieldText(record.srcLang);
    caption.dstLang = FieldText(record.dstLang);
    caption.text = FieldText(record.text);
    caption.transText = FieldText(record.transText);
    caption.startTime = record.startTime;
    caption.endTime = record.endTime;
    return true;
}

bool ReadCheckins(const TagAiCloudSrvResult& result, std::vector<Checkin>& checkins) {
    TagQuorAiCheckinList list;
    if (result.id != AI_SUB_ID_CHECKIN || !CopyRecord(result, list)) {
        return false;
    }
    const unsigned int count = std::min(list.num, kQuorAiCheckinMax);
    for (unsigned int i = 0; i < count; ++i) {
        const TagQuorAiGetSigninContent& entry = list.content[i];
        checkins.push_back({FieldText(entry.name), FieldText(entry.account), FieldText(entry.checkInTime),
                            FieldText(entry.type), FieldText(entry.participantName)});
    }
    return true;
}

bool ReadLinkId(const TagAiCloudSrvResult& result, unsigned int& linkId) {
    return result.id == AI_SUB_ID_WS_CONNECTED && CopyRecord(result, linkId);
}

}  // namespace quor_terminal
