#include "face_view.h"

#include "json_documents.h"
#include "output.h"
#include "probe_text.h"
#include "table.h"
#include "text_layout.h"

namespace quor_terminal {

bool FaceView::Show(const SearchNews& news, const std::vector<Probe>& probes, const std::string& service) {
    bool good = true;
    for (const std::size_t place : news.changed) {
        good = good && ShowProbe(m_options.candidates[place], probes[place]);
    }
    if (service != m_service) {
        m_service = service;
        good = good && ShowService();
    }
    return good;
}

bool FaceView::ShowNotAsked(const std::vector<Probe>& probes) {
    bool good = true;
    for (std::size_t i = 0; i < probes.size(); ++i) {
        if (probes[i].state == ProbeState::kNotAsked) {
            good = good && ShowProbe(m_options.candidates[i], probes[i]);
        }
    }
    return good;
}

bool FaceView::ShowTable(const std::vector<Probe>& probes) {
    std::vector<TableRow> rows;
    for (std::size_t i = 0; i < probes.size(); ++i) {
        const std::string& url = m_options.candidates[i].url;
        rows.push_back({url, url == m_service ? "taken" : ProbeWord(probes[i]), ProbeReason(probes[i])});
    }
    return m_write(FormatTable({"CANDIDATE", "STATE", "WHY"}, rows) + "the face service is " + m_service +
                   "\n");
}

bool FaceView::ShowProbe(const FaceCandidate& candidate, const Probe& probe) {
    if (m_options.json) {
        Json document = {{"kind", "candidate"}};
        document.update(ProbeDocument(candidate, probe));
        return m_write(PrintDocument(document));
    }
    const std::string reason = ProbeReason(probe);
    std::string line = candidate.url + "  " + ProbeWord(probe) + (reason.empty() ? "" : ": ") + reason;
    if (probe.state == ProbeState::kFailed && candidate.url == m_service) {
        line += "; it stays the face service until another one answers";
    }
    return ShowLine(line);
}

bool FaceView::ShowService() {
    return m_options.json ? m_write(PrintDocument({{"kind", "service"}, {"url", m_service}}))
                          : ShowLine(m_service + "  taken: it is the face service now");
}

bool FaceView::ShowLine(const std::string& line) {
    return !m_options.watch || m_write(TimeOfDay() + "  " + Printable(line) + "\n");
}

}  // namespace quor_terminal
