// face_command.cpp - 'quor-terminal face': which of its three parts runs, and the first of them, 'face
// detect', which tells which candidate is the face service.
#include <string>
#include <utility>
#include <vector>

#include "commands.h"
#include "exit_codes.h"
#include "face_commands.h"
#include "face_run.h"
#include "output.h"
#include "session.h"
#include "table.h"
#include "text_layout.h"

namespace quor_terminal {
namespace {

Json ServiceDocument(const std::string& url) {
    return {{"kind", "service"}, {"url", url}};
}

// Tells what became of the candidates: at once in documents and to those who watch, else in the end.
class SearchView {
public:
    SearchView(const FaceDetectOptions& options, RequestRun& output) : m_options(options), m_output(output) {}

    // False: standard output is gone.
    bool Show(const SearchNews& news, const std::vector<Probe>& probes, const std::string& service) {
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

    bool ShowTable(const std::vector<Probe>& probes) {
        std::vector<TableRow> rows;
        for (std::size_t i = 0; i < probes.size(); ++i) {
            const std::string& url = m_options.candidates[i].url;
            rows.push_back({url, url == m_service ? "taken" : ProbeWord(probes[i]), ProbeReason(probes[i])});
        }
        return m_options.json || m_output.Print(FormatTable({"CANDIDATE", "STATE", "WHY"}, rows) +
                                                "the face service is " + m_service + "\n");
    }

    bool ShowNotAsked(const std::vector<Probe>& probes) {
        bool good = true;
        for (std::size_t i = 0; i < probes.size(); ++i) {
            if (probes[i].state == ProbeState::kNotAsked) {
                good = good && ShowProbe(m_options.candidates[i], probes[i]);
            }
        }
        return good;
    }

private:
    bool ShowProbe(const FaceCandidate& candidate, const Probe& probe) {
        if (m_options.json) {
            Json document = {{"kind", "candidate"}};
            document.update(ProbeDocument(candidate, probe));
            return m_output.Print(document);
        }
        const std::string reason = ProbeReason(probe);
        std::string line = candidate.url + "  " + ProbeWord(probe) + (reason.empty() ? "" : ": ") + reason;
        if (probe.state == ProbeState::kFailed && candidate.url == m_service) {
            line += "; it stays the face service until another one answers";
        }
        return ShowLine(line);
    }
    bool ShowService() {
        return m_options.json ? m_output.Print(ServiceDocument(m_service))
                              : ShowLine(m_service + "  taken: it is the face service now");
    }
    bool ShowLine(const std::string& line) {
        return !m_options.watch || m_output.Print(TimeOfDay() + "  " + Printable(line) + "\n");
    }

    const FaceDetectOptions& m_options;
    RequestRun& m_output;
    std::string m_service;  // as it was told last
};

bool IsOver(const FaceDetectOptions& options, FaceRun& run, const SearchNews& news) {
    if (news.stopped || news.timedOut) {
        return true;
    }
    if (options.watch) {
        return false;
    }
    const bool found = !run.ServiceUrl().empty();
    return (found && (!options.all || run.Search().AllEnded())) || run.Search().NothingFound();
}

int Detect(FaceRun& run, const FaceDetectOptions& options) {
    SearchView view(options, run.Requests());
    if (!view.ShowNotAsked(run.Search().Probes())) {
        return run.Requests().ExitCode();
    }
    if (!options.watch) {
        run.Requests().ShowProgress("looking for the face service");
    }
    SearchNews news;
    while (!IsOver(options, run, news)) {
        news = run.Wait(options.watch);
        if (!view.Show(news, run.Search().Probes(), run.ServiceUrl())) {
            return run.Requests().ExitCode();
        }
    }
    if (options.watch) {
        return kExitOk;
    }
    if (run.ServiceUrl().empty()) {
        return run.FailToFind(news);
    }
    return view.ShowTable(run.Search().Probes()) ? kExitOk : run.Requests().ExitCode();
}

}  // namespace

int RunFace(const Options& options) {
    const FaceOptions& face = options.face;
    switch (face.action) {
        case FaceOptions::Action::kDetect:
            return RunFaceRequests(face.detect, "face detect", Milliseconds(face.detect.forSeconds),
                                   [&face](FaceRun& run) { return Detect(run, face.detect); });
        case FaceOptions::Action::kIdentify:
            return RunFaceIdentify(face.identify);
        case FaceOptions::Action::kPhotos:
            return RunFacePhotos(face.photos);
    }
    return kExitFailure;
}

}  // namespace quor_terminal
