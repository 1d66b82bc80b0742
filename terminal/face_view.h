// face_view.h - 'face detect' on standard output: what becomes of the candidates, at once in documents and to
// those who watch, else as a table in the end.
//
// Threads: the control thread.
#ifndef QUOR_TERMINAL_FACE_VIEW_H
#define QUOR_TERMINAL_FACE_VIEW_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "command_line.h"
#include "face_search.h"

namespace quor_terminal {

class FaceView {
public:
    // Writes a text. False: standard output cannot be written any more; nothing is written after that.
    using Write = std::function<bool(const std::string& text)>;

    // options outlives the object.
    FaceView(const FaceDetectOptions& options, Write write) : m_options(options), m_write(std::move(write)) {}

    // Each returns false when standard output is gone.

    // What is new. service: the one that the library took last, empty for none.
    bool Show(const SearchNews& news, const std::vector<Probe>& probes, const std::string& service);
    // The candidates that the library does not ask.
    bool ShowNotAsked(const std::vector<Probe>& probes);
    // All of them and the service, for those who wanted neither documents nor to watch.
    bool ShowTable(const std::vector<Probe>& probes);

private:
    bool ShowProbe(const FaceCandidate& candidate, const Probe& probe);
    bool ShowService();
    bool ShowLine(const std::string& line);

    const FaceDetectOptions& m_options;
    const Write m_write;
    std::string m_service;  // as it was told last
};

}  // namespace quor_terminal

#endif
