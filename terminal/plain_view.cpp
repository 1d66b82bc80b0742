#include <utility>

#include "conference_text.h"
#include "line_views.h"
#include "notices.h"
#include "text_layout.h"

namespace quor_terminal {
namespace {

constexpr std::size_t kSpeakerColumns = 16;
constexpr std::size_t kLanguageColumns = 8;

}  // namespace

PlainView::PlainView(TextSink results, TextSink notices, bool showInterim,
                     std::function<std::string()> timeOfDay)
    : m_results(std::move(results)),
      m_notices(std::move(notices)),
      m_showInterim(showInterim),
      m_timeOfDay(std::move(timeOfDay)) {}

void PlainView::ShowCaption(const Caption& caption) {
    if (!caption.isFinal && !m_showInterim) {
        return;
    }
    const std::string& language = caption.isTranslation ? caption.dstLang : caption.srcLang;
    const std::string& text = caption.isTranslation ? caption.transText : caption.text;
    WriteLine(caption.speaker, language, caption.isFinal ? text : "~ " + text);
}

void PlainView::ShowCheckins(const std::vector<Checkin>& checkins) {
    for (const Checkin& checkin : checkins) {
        const std::string& who = checkin.participant.empty() ? checkin.name : checkin.participant;
        WriteLine(who, "check-in", checkin.account + "  " + checkin.time);
    }
}

void PlainView::ShowControl(const ControlStatus& status) {
    WriteLine("", "control", ControlText(status));
}

void PlainView::ShowSites(const SiteList& sites) {
    WriteLine("", "sites", SitesText(sites));
}

void PlainView::ShowOverlay(bool paused) {
    WriteLine("", "overlay", OverlayText(paused));
}

void PlainView::ShowOther(const TagAiCloudSrvResult& result) {
    WriteLine("", "id " + std::to_string(result.id), std::to_string(result.len) + " bytes");
}

void PlainView::ShowLink(const KeeperNotice& notice) {
    if (NoticeIsNews(notice)) {
        const MutexLock lock(m_mutex);
        m_notices("quor-terminal: " + Printable(NoticeText(notice)) + "\n");
    }
}

void PlainView::WriteLine(std::string_view who, std::string_view language, std::string_view text) {
    std::string line = m_timeOfDay() + "  " + FitToWidth(Printable(who), kSpeakerColumns) + "  " +
                       FitToWidth(Printable(language), kLanguageColumns) + "  " + Printable(text);
    line += '\n';
    const MutexLock lock(m_mutex);
    m_results(line);
}

}  // namespace quor_terminal
