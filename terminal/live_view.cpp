#include "live_view.h"

#include <algorithm>
#include <utility>

#include "conference_text.h"
#include "notices.h"
#include "text_layout.h"

namespace quor_terminal {

LiveView::LiveView(TextSink sink, Settings settings)
    : m_sink(std::move(sink)), m_settings(std::move(settings)), m_linkState("starting") {}

void LiveView::ShowCaption(const Caption& caption) {
    const MutexLock lock(m_mutex);
    if (m_finished) {
        return;
    }
    if (caption.isFinal) {
        ++(caption.isTranslation ? m_translations : m_captions);
    }
    const auto now = m_settings.clock();
    LiveRow& row = RowFor(caption);
    row.changedAt = now;
    row.row.text = Printable(caption.text);
    if (caption.isTranslation) {
        row.row.translation = Printable(caption.transText);
        row.translationFinal = caption.isFinal;
    } else {
        row.textFinal = caption.isFinal;
    }
    row.row.interim = !IsWaiting(row);
    std::string finished;
    CollectFinished(now, finished);
    Redraw(finished);
}

void LiveView::ShowCheckins(const std::vector<Checkin>& checkins) {
    const MutexLock lock(m_mutex);
    if (m_finished) {
        return;
    }
    std::string finished;
    for (const Checkin& checkin : checkins) {
        ++m_checkins;
        const std::string who = Printable(checkin.participant.empty() ? checkin.name : checkin.participant);
        AppendEvent("+", kColourGreen, who + " checked in  " + Printable(checkin.time), finished);
    }
    Redraw(finished);
}

void LiveView::ShowControl(const ControlStatus& status) {
    const MutexLock lock(m_mutex);
    m_control = Printable(ControlText(status));
    ShowEvent("#", kColourYellow, "control: " + m_control);
}

void LiveView::ShowSites(const SiteList& sites) {
    const MutexLock lock(m_mutex);
    m_lastSites = sites.sites.size();
    ShowEvent("@", kColourGreen, Printable(SitesText(sites)));
}

void LiveView::ShowOverlay(bool paused) {
    const MutexLock lock(m_mutex);
    m_overlay = paused ? "paused" : "shown";
    ShowEvent(paused ? "|" : ">", kColourYellow, "overlay: " + OverlayText(paused));
}

void LiveView::ShowOther(const TagAiCloudSrvResult& result) {
    const MutexLock lock(m_mutex);
    ShowEvent("*", kColourDim,
              "result " + std::to_string(result.id) + ", " + std::to_string(result.len) + " bytes");
}

void LiveView::ShowEvent(const char* mark, unsigned int colour, const std::string& text) {
    if (m_finished) {
        return;
    }
    std::string finished;
    AppendEvent(mark, colour, text, finished);
    Redraw(finished);
}

void LiveView::ShowLink(const KeeperNotice& notice) {
    const MutexLock lock(m_mutex);
    if (m_finished) {
        return;
    }
    m_linkUp = notice.kind == KeeperNotice::Kind::kUp;
    m_linkState = m_linkUp ? "live" : NoticeWord(notice);
    m_recoveries += m_linkUp && notice.recovered ? 1 : 0;
    std::string finished;
    if (NoticeIsNews(notice)) {
        const bool bad = notice.kind == KeeperNotice::Kind::kLost ||
                         (notice.kind == KeeperNotice::Kind::kBackingOff && !notice.afterLoss);
        const unsigned int colour = bad ? kColourRed : m_linkUp ? kColourGreen : kColourYellow;
        AppendEvent(bad ? "!" : m_linkUp ? "=" : "-", colour, Printable(NoticeText(notice)), finished);
    }
    Redraw(finished);
}

void LiveView::Tick(std::chrono::steady_clock::time_point now) {
    const MutexLock lock(m_mutex);
    if (m_finished) {
        return;
    }
    std::string finished;
    CollectFinished(now, finished);
    Redraw(finished);
}

void LiveView::Finish() {
    const MutexLock lock(m_mutex);
    if (m_finished) {
        return;
    }
    std::string finished;
    for (const LiveRow& row : m_rows) {
        if (IsWaiting(row)) {
            AppendRow(row.row, finished);
        }
    }
    m_rows.clear();
    m_finished = true;
    Redraw(finished);
}

std::vector<LiveView::LiveRow>::iterator LiveView::FindRow(const Caption& caption) {
    // Text and translation of one utterance share its start time. An interim text whose start time the server
    // corrected is still the one that its site is speaking.
    return std::find_if(m_rows.begin(), m_rows.end(), [&caption](const LiveRow& row) {
        if (row.site != caption.site) {
            return false;
        }
        if (caption.isTranslation) {
            return !row.translationFinal && row.startTime == caption.startTime;
        }
        return !row.textFinal && (row.startTime == caption.startTime || !row.translationFinal);
    });
}

LiveView::LiveRow& LiveView::RowFor(const Caption& caption) {
    const auto found = FindRow(caption);
    if (found != m_rows.end()) {
        found->startTime = caption.startTime;
        return *found;
    }
    LiveRow row;
    row.site = caption.site;
    row.startTime = caption.startTime;
    row.row.time = m_settings.timeOfDay();
    row.row.speaker = Printable(caption.speaker);
    row.row.language = Printable(caption.srcLang);
    row.row.speakerColour = ColourOf(caption.site);
    m_rows.push_back(std::move(row));
    return m_rows.back();
}

unsigned int LiveView::ColourOf(const std::string& site) {
    const auto found = std::find(m_sites.begin(), m_sites.end(), site);
    const auto index = static_cast<std::size_t>(found - m_sites.begin());
    constexpr std::size_t kSitesRemembered = 2000;  // more than a conference holds
    if (found == m_sites.end() && m_sites.size() < kSitesRemembered) {
        m_sites.push_back(site);
    }
    return SpeakerColour(index);
}

bool LiveView::IsComplete(const LiveRow& row) const {
    return row.textFinal && (!m_settings.wantsTranslation || row.translationFinal);
}

bool LiveView::IsWaiting(const LiveRow& row) {
    return row.textFinal || row.translationFinal;
}

void LiveView::CollectFinished(std::chrono::steady_clock::time_point now, std::string& out) {
    for (auto row = m_rows.begin(); row != m_rows.end();) {
        const auto age = now - row->changedAt;
        const bool show = IsComplete(*row) || (IsWaiting(*row) && age >= kCounterpartWait);
        if (show) {
            AppendRow(row->row, out);
        }
        row = show || (!IsWaiting(*row) && age >= kInterimWait) ? m_rows.erase(row) : row + 1;
    }
}

void LiveView::AppendRow(const CaptionRow& row, std::string& out) {
    const RowStyle style{UsableWidth(), m_settings.wantsTranslation, m_settings.colour, false};
    for (const std::string& line : LayOutRow(row, style)) {
        out += line + "\n";
    }
}

void LiveView::AppendEvent(const char* mark, unsigned int colour, const std::string& text, std::string& out) {
    const std::string time = m_settings.timeOfDay();
    const std::size_t indent = DisplayWidth(time) + 4;
    const std::vector<std::string> lines =
        WrapToWidth(text, std::max<std::size_t>(UsableWidth(), indent + 20) - indent);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        out += i == 0 ? Paint(time, kColourDim, m_settings.colour) + "  " +
                            Paint(mark, colour, m_settings.colour) + " "
                      : std::string(indent, ' ');
        out += Paint(lines[i], colour, m_settings.colour) + "\n";
    }
}

std::string LiveView::ConferenceLine(std::size_t width) const {
    std::string line =
        m_control + "   overlay " + m_overlay + "   last list of sites " + std::to_string(m_lastSites);
    if (DisplayWidth(line) > width) {
        line = FitToWidth(line, width);
    }
    return Paint(line, kColourBold, m_settings.colour);
}

std::string LiveView::StatusLine(std::size_t width) const {
    std::string counts = "   captions " + std::to_string(m_captions);
    if (m_settings.wantsTranslation) {
        counts += "   translations " + std::to_string(m_translations);
    }
    counts += "   check-ins " + std::to_string(m_checkins) + "   reconnects " + std::to_string(m_recoveries) +
              "   (Ctrl-C ends)";
    const std::string state = "[" + m_linkState + "]";
    const std::size_t left = width - std::min(width, DisplayWidth(state));
    if (DisplayWidth(counts) > left) {
        counts = FitToWidth(counts, left);
    }
    return Paint(state, m_linkUp ? kColourGreen : kColourYellow, m_settings.colour) +
           Paint(counts, kColourDim, m_settings.colour);
}

void LiveView::Redraw(const std::string& finished) {
    const std::size_t width = UsableWidth();
    const RowStyle style{width, m_settings.wantsTranslation, m_settings.colour, true};
    std::string live;
    std::size_t lines = 0;
    if (!m_finished) {
        for (std::size_t i = 0; i < std::min(m_rows.size(), kLiveRowsShown); ++i) {
            live += LayOutRow(m_rows[i].row, style).front() + "\n";
            ++lines;
        }
        if (m_settings.wholeConference) {
            live += ConferenceLine(width) + "\n";
            ++lines;
        }
        live += StatusLine(width);
        ++lines;
    }
    if (finished.empty() && live == m_drawn) {
        return;
    }
    std::string out;
    if (m_linesDrawn > 0) {
        out += "\r";
        if (m_linesDrawn > 1) {
            out += "\x1b[" + std::to_string(m_linesDrawn - 1) + "A";
        }
        out += "\x1b[J";
    }
    out += finished + live;
    m_linesDrawn = lines;
    m_drawn = live;
    m_sink(out);
}

std::size_t LiveView::UsableWidth() const {
    // The last column stays free: a character there makes some terminals wrap at once, and the region's
    // height would be wrong.
    const std::size_t width = m_settings.terminalWidth();
    return width > 1 ? width - 1 : 1;
}

}  // namespace quor_terminal
