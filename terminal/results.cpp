#include "results.h"

#include <algorithm>
#include <cstddef>
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

bool ReadControl(const TagAiCloudSrvResult& result, ControlStatus& status) {
    TagQuorAiConfCtrlStatusInfo record;
    if (result.id != AI_SUB_ID_CONF_CTRL || !CopyRecord(result, record)) {
        return false;
    }
    status.status = record.status;
    status.srcLang = FieldText(record.srcLang);
    status.dstLang = FieldText(record.dstLang);
    status.enforce = record.enforce;
    return true;
}

// The result ends with the last site, so the record is not copied whole, and its count is not believed beyond
// what the length holds.
bool ReadSites(const TagAiCloudSrvResult& result, SiteList& sites) {
    if (result.id != AI_SUB_ID_CONF_SITE || result.data == nullptr || result.len < kQuorAiSiteHeadSize) {
        return false;
    }
    unsigned int count = 0;
    std::memcpy(&sites.type, result.data + offsetof(TagQuorAiSiteInfoList, type), sizeof sites.type);
    std::memcpy(&count, result.data + offsetof(TagQuorAiSiteInfoList, count), sizeof count);
    if (count > (result.len - kQuorAiSiteHeadSize) / sizeof(TagQuorAiSiteInfo)) {
        return false;
    }
    sites.sites.reserve(count);
    TagQuorAiSiteInfo record;
    for (unsigned int i = 0; i < count; ++i) {
        std::memcpy(&record, result.data + kQuorAiSiteHeadSize + i * sizeof record, sizeof record);
        sites.sites.push_back({FieldText(record.id), FieldText(record.name)});
    }
    return true;
}

bool ReadOverlay(const TagAiCloudSrvResult& result, bool& paused) {
    TagQuorAiConfCtrlStatusInfo record;
    if (result.id != AI_SUB_ID_CAPTION_OVERLAY || !CopyRecord(result, record)) {
        return false;
    }
    paused = record.pause != 0;
    return true;
}

bool ReadLinkId(const TagAiCloudSrvResult& result, unsigned int& linkId) {
    return result.id == AI_SUB_ID_WS_CONNECTED && CopyRecord(result, linkId);
}

}  // namespace quor_terminal
