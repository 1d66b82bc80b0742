#include <nlohmann/json.hpp>
#include <utility>

#include "line_views.h"
#include "notices.h"

namespace quor_terminal {
namespace {

using Json = nlohmann::ordered_json;

std::string Print(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

JsonView::JsonView(TextSink sink) : m_sink(std::move(sink)) {}

void JsonView::ShowCaption(const Caption& caption) {
    Json document = {{"id", static_cast<unsigned int>(AI_SUB_ID_CAPTION)},
                     {"kind", caption.isTranslation ? "translation" : "caption"},
                     {"speaker", caption.speaker},
                     {"site", caption.site},
                     {"srcLang", caption.srcLang},
                     {"text", caption.text},
                     {"startTime", caption.startTime},
                     {"endTime", caption.endTime},
                     {"final", caption.isFinal},
                     {"duplicate", caption.duplicate}};
    if (caption.isTranslation) {
        document["dstLang"] = caption.dstLang;
        document["transText"] = caption.transText;
    }
    WriteDocument(Print(document));
}

void JsonView::ShowCheckins(const std::vector<Checkin>& checkins) {
    Json people = Json::array();
    for (const Checkin& checkin : checkins) {
        people.push_back({{"name", checkin.name},
                          {"account", checkin.account},
                          {"checkInTime", checkin.time},
                          {"type", checkin.type},
                          {"participantName", checkin.participant}});
    }
    const Json document = {
        {"id", static_cast<unsigned int>(AI_SUB_ID_CHECKIN)}, {"kind", "checkin"}, {"people", people}};
    WriteDocument(Print(document));
}

void JsonView::ShowOther(const TagAiCloudSrvResult& result) {
    const Json document = {
        {"id", static_cast<unsigned int>(result.id)}, {"kind", "other"}, {"bytes", result.len}};
    WriteDocument(Print(document));
}

void JsonView::ShowLink(const KeeperNotice& notice) {
    Json document = {{"kind", "link"}, {"state", NoticeWord(notice)}};
    if (!notice.problem.text.empty()) {
        document["problem"] = notice.problem.text;
    }
    if (notice.kind == KeeperNotice::Kind::kBackingOff) {
        document["waitMs"] = notice.wait.count();
    }
    WriteDocument(Print(document));
}

void JsonView::WriteDocument(const std::string& document) {
    const MutexLock lock(m_mutex);
    m_sink(document);
}

}  // namespace quor_terminal
