// live_view.h - the view for a person at a terminal.
//
// What is finished scrolls up as in any program. Below it a live region is redrawn in place: one line for
// each speaker whose text may still change, and a status line; when the whole conference is watched, also a
// line with its state. A row leaves the live region when its text is
// final and, where a translation is wanted, that is final too or did not come in time.
//
// Threads: every function is callable from any thread. Locks: m_mutex guards everything; it is held while the
// terminal is written.
#ifndef QUOR_TERMINAL_LIVE_VIEW_H
#define QUOR_TERMINAL_LIVE_VIEW_H

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "mutex.h"
#include "output.h"
#include "results.h"
#include "row_layout.h"

namespace quor_terminal {

class LiveView : public ResultView {
public:
    struct Settings {
        bool wantsTranslation = false;
        bool wholeConference = false;  // a line for control, overlay and sites above the status line
        bool colour = true;
        std::function<std::size_t()> terminalWidth;
        std::function<std::string()> timeOfDay;
        std::function<std::chrono::steady_clock::time_point()> clock = std::chrono::steady_clock::now;
    };

    // A final text waits so long for its translation, and a translation for its text.
    static constexpr std::chrono::milliseconds kCounterpartWait{3000};
    // An interim text that nobody continues (its end was lost with a link) vanishes after so long.
    static constexpr std::chrono::milliseconds kInterimWait{20000};
    // More speakers than this at once: the others wait unseen.
    static constexpr std::size_t kLiveRowsShown = 5;

    LiveView(TextSink sink, Settings settings);

    void ShowCaption(const Caption& caption) override;
    void ShowCheckins(const std::vector<Checkin>& checkins) override;
    void ShowControl(const ControlStatus& status) override;
    void ShowSites(const SiteList& sites) override;
    void ShowOverlay(bool paused) override;
    void ShowOther(const TagAiCloudSrvResult& result) override;
    void ShowLink(const KeeperNotice& notice) override;
    void Tick(std::chrono::steady_clock::time_point now) override;
    void Finish() override;

private:
    struct LiveRow {
        CaptionRow row;
        std::string site;
        double startTime = 0;
        bool textFinal = false;
        bool translationFinal = false;
        std::chrono::steady_clock::time_point changedAt;
    };

    LiveRow& RowFor(const Caption& caption) QUOR_TERMINAL_REQUIRES(m_mutex);
    std::vector<LiveRow>::iterator FindRow(const Caption& caption) QUOR_TERMINAL_REQUIRES(m_mutex);
    unsigned int ColourOf(const std::string& site) QUOR_TERMINAL_REQUIRES(m_mutex);
    bool IsComplete(const LiveRow& row) const;
    static bool IsWaiting(const LiveRow& row);  // one half is final
    void CollectFinished(std::chrono::steady_clock::time_point now, std::string& out)
        QUOR_TERMINAL_REQUIRES(m_mutex);
    void AppendRow(const CaptionRow& row, std::string& out);
    void AppendEvent(const char* mark, unsigned int colour, const std::string& text, std::string& out);
    std::string StatusLine(std::size_t width) const QUOR_TERMINAL_REQUIRES(m_mutex);
    std::string ConferenceLine(std::size_t width) const QUOR_TERMINAL_REQUIRES(m_mutex);
    // One event without a speaker, above the live region.
    void ShowEvent(const char* mark, unsigned int colour, const std::string& text)
        QUOR_TERMINAL_REQUIRES(m_mutex);
    // Writes finished above the live region and draws that anew.
    void Redraw(const std::string& finished) QUOR_TERMINAL_REQUIRES(m_mutex);
    std::size_t UsableWidth() const;

    const TextSink m_sink;
    const Settings m_settings;
    Mutex m_mutex;
    std::vector<LiveRow> m_rows QUOR_TERMINAL_GUARDED_BY(m_mutex);       // oldest first
    std::vector<std::string> m_sites QUOR_TERMINAL_GUARDED_BY(m_mutex);  // in order of appearance: colours
    std::size_t m_linesDrawn QUOR_TERMINAL_GUARDED_BY(m_mutex) = 0;      // of the live region
    std::string m_drawn QUOR_TERMINAL_GUARDED_BY(m_mutex);               // the live region as it stands
    std::string m_linkState QUOR_TERMINAL_GUARDED_BY(m_mutex);
    bool m_linkUp QUOR_TERMINAL_GUARDED_BY(m_mutex) = false;
    bool m_finished QUOR_TERMINAL_GUARDED_BY(m_mutex) = false;
    std::string m_control QUOR_TERMINAL_GUARDED_BY(m_mutex) = "captions: not told yet";
    std::string m_overlay QUOR_TERMINAL_GUARDED_BY(m_mutex) = "shown";
    std::size_t m_lastSites QUOR_TERMINAL_GUARDED_BY(m_mutex) = 0;  // in the last message about them
    unsigned long m_captions QUOR_TERMINAL_GUARDED_BY(m_mutex) = 0;
    unsigned long m_translations QUOR_TERMINAL_GUARDED_BY(m_mutex) = 0;
    unsigned long m_checkins QUOR_TERMINAL_GUARDED_BY(m_mutex) = 0;
    unsigned long m_recoveries QUOR_TERMINAL_GUARDED_BY(m_mutex) = 0;
};

}  // namespace quor_terminal

#endif
