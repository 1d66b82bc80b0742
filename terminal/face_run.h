// face_run.h - one run of a subcommand that needs the face service: everything of a run with requests, and
// the library's search for the service beside it.
//
// Threads: the main thread. What the library tells about the search on threads of its own goes to the
// FaceSearch.
#ifndef QUOR_TERMINAL_FACE_RUN_H
#define QUOR_TERMINAL_FACE_RUN_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "command_line.h"
#include "face_search.h"
#include "quor_ai/face_records.h"
#include "request_run.h"

namespace quor_terminal {

class FaceRun {
public:
    FaceRun(const FaceServiceOptions& options, FaceSearch& search, RequestRun& requests)
        : m_options(options), m_search(search), m_requests(requests) {}
    ~FaceRun();  // the library stops searching
    FaceRun(const FaceRun&) = delete;
    FaceRun& operator=(const FaceRun&) = delete;

    // The library begins to search, with the configuration of PrepareFaceService. False: told already.
    bool Start(TagQuorAiFaceServerInfo& configuration);

    // News of the search. Where the library took a service, Service is that one afterwards. Not after the
    // time limit of the options, unless forEver.
    SearchNews Wait(bool forEver);

    // Waits until the library took a service. False: it found none, was stopped or took too long, and that
    // has been told; Requests().ExitCode() says what to return.
    bool FindService();
    // Tells why there is none. Returns the exit code.
    int FailToFind(const SearchNews& news);

    // The service that the library took; its url is empty as long as it took none.
    const tagAI_FACE_S_EUA_SERVER_INFO& Service() const { return m_service; }
    // The same as people and documents are told it, with the port; empty as long as there is none.
    std::string ServiceUrl() const;
    FaceSearch& Search() { return m_search; }
    RequestRun& Requests() { return m_requests; }

private:
    const FaceServiceOptions& m_options;
    FaceSearch& m_search;
    RequestRun& m_requests;
    tagAI_FACE_S_EUA_SERVER_INFO m_service{};
    bool m_started = false;
};

// Runs body between set-up and taking down. duration: as long as the run may take, 0 for without end; it ends
// as by Ctrl-C. Returns what body returned, or the exit code of a set-up that failed.
int RunFaceRequests(const FaceServiceOptions& options, const char* name, std::chrono::milliseconds duration,
                    const std::function<int(FaceRun& run)>& body);

}  // namespace quor_terminal

#endif
