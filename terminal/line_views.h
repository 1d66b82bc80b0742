// line_views.h - the views for pipes and files: plain lines for people, JSON lines for programs.
//
// Threads: every function is callable from any thread. Locks: each view's m_mutex keeps lines whole; it is
// held while a line is written, so a reader that does not read stops the link event thread, and the platform
// then stops reading from the server: nothing is lost and nothing piles up here.
#ifndef QUOR_TERMINAL_LINE_VIEWS_H
#define QUOR_TERMINAL_LINE_VIEWS_H

#include <functional>
#include <string>
#include <string_view>

#include "mutex.h"
#include "output.h"
#include "results.h"

namespace quor_terminal {

// One line for each final text as it arrives; with interim texts, marked "~", when asked for. Link notices go
// to the second sink, so that what is piped on is results only.
class PlainView : public ResultView {
public:
    PlainView(TextSink results, TextSink notices, bool showInterim, std::function<std::string()> timeOfDay);

    void ShowCaption(const Caption& caption) override;
    void ShowCheckins(const std::vector<Checkin>& checkins) override;
    void ShowControl(const ControlStatus& status) override;
    void ShowSites(const SiteList& sites) override;
    void ShowOverlay(bool paused) override;
    void ShowOther(const TagAiCloudSrvResult& result) override;
    void ShowLink(const KeeperNotice& notice) override;
    void Tick(std::chrono::steady_clock::time_point) override {}
    void Finish() override {}

private:
    void WriteLine(std::string_view who, std::string_view language, std::string_view text);

    const TextSink m_results;
    const TextSink m_notices;
    const bool m_showInterim;
    const std::function<std::string()> m_timeOfDay;
    Mutex m_mutex;
};

// One JSON document a line for each result and each link notice; docs/terminal.md lists the members. Text
// that is not UTF-8 is repaired with U+FFFD, because JSON has no other way.
class JsonView : public ResultView {
public:
    explicit JsonView(TextSink sink);

    void ShowCaption(const Caption& caption) override;
    void ShowCheckins(const std::vector<Checkin>& checkins) override;
    void ShowControl(const ControlStatus& status) override;
    void ShowSites(const SiteList& sites) override;
    void ShowOverlay(bool paused) override;
    void ShowOther(const TagAiCloudSrvResult& result) override;
    void ShowLink(const KeeperNotice& notice) override;
    void Tick(std::chrono::steady_clock::time_point) override {}
    void Finish() override {}

private:
    void WriteDocument(const std::string& document);

    const TextSink m_sink;
    Mutex m_mutex;
};

}  // namespace quor_terminal

#endif
