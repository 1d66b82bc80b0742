// face_command.cpp - 'quor-terminal face': which of its three parts runs, and the first of them, 'face
// detect', which tells which candidate is the face service.
#include <string>

#include "commands.h"
#include "exit_codes.h"
#include "face_commands.h"
#include "face_run.h"
#include "face_view.h"
#include "session.h"

namespace quor_terminal {
namespace {

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
    FaceView view(options, [&run](const std::string& text) { return run.Requests().Print(text); });
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
    return options.json || view.ShowTable(run.Search().Probes()) ? kExitOk : run.Requests().ExitCode();
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
