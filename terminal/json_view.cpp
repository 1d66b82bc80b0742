#include <utility>

#include "json_documents.h"
#include "line_views.h"

namespace quor_terminal {
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
    WriteDocument(PrintDocument(document));
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
    WriteDocument(PrintDocument(document));
}

void JsonView::ShowControl(const ControlStatus& status) {
    WriteDocument(PrintDocument({{"id", static_cast<unsigned int>(AI_SUB_ID_CONF_CTRL)},
                                 {"kind", "control"},
                                 {"status", status.status},
                                 {"srcLang", status.srcLang},
                                 {"dstLang", status.dstLang},
                                 {"enforce", status.enforce}}));
}

void JsonView::ShowSites(const SiteList& sites) {
    Json list = Json::array();
    for (const Site& site : sites.sites) {
        list.push_back({{"id", site.id}, {"name", site.name}});
    }
    WriteDocument(PrintDocument({{"id", static_cast<unsigned int>(AI_SUB_ID_CONF_SITE)},
                                 {"kind", "sites"},
                                 {"type", sites.type},
                                 {"count", sites.sites.size()},
                                 {"sites", list}}));
}

void JsonView::ShowOverlay(bool paused) {
    WriteDocument(PrintDocument({{"id", static_cast<unsigned int>(AI_SUB_ID_CAPTION_OVERLAY)},
                                 {"kind", "overlay"},
                                 {"pause", paused}}));
}

void JsonView::ShowOther(const TagAiCloudSrvResult& result) {
    const Json document = {
        {"id", static_cast<unsigned int>(result.id)}, {"kind", "other"}, {"bytes", result.len}};
    WriteDocument(PrintDocument(document));
}

void JsonView::ShowLink(const KeeperNotice& notice) {
    WriteDocument(PrintDocument(LinkDocument(notice)));
}

void JsonView::WriteDocument(const std::string& document) {
    const MutexLock lock(m_mutex);
    m_sink(document);
}

}  // namespace quor_terminal
