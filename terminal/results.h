// results.h - what the views show: the library's records as values of the program's own.
//
// The library's records are valid during Update only and hold bounded C texts; here they are copied out,
// once, with the bytes exactly as they arrived (a view makes them printable).
#ifndef QUOR_TERMINAL_RESULTS_H
#define QUOR_TERMINAL_RESULTS_H

#include <chrono>
#include <string>
#include <vector>

#include "link_keeper.h"
#include "quor_ai/records.h"
#include "quor_ai/result.h"

namespace quor_terminal {

struct Caption {
    bool isTranslation = false;
    bool isFinal = false;
    bool duplicate = false;  // a final text that arrived before; see statistics.h
    std::string site;        // the speaking site's id
    std::string speaker;     // its display name, or its id when it has none
    std::string srcLang;
    std::string dstLang;    // translation only
    std::string text;       // as it was said
    std::string transText;  // translation only
    double startTime = 0;
    double endTime = 0;
};

struct Checkin {
    std::string name;
    std::string account;
    std::string time;
    std::string type;
    std::string participant;
};

// The switch for captions that the conference's control sends.
struct ControlStatus {
    int status = 0;  // 1 on, 0 off
    std::string srcLang;
    std::string dstLang;
    int enforce = -1;  // -1: the server did not say
};

struct Site {
    std::string id;
    std::string name;
};

// One message about sites: how it says that the list changed, and the sites in it.
struct SiteList {
    unsigned int type = 0;
    std::vector<Site> sites;
};

// Copies a result's record. False: the result is of another kind or too short for its record.
bool ReadCaption(const TagAiCloudSrvResult& result, Caption& caption);
bool ReadCheckins(const TagAiCloudSrvResult& result, std::vector<Checkin>& checkins);
bool ReadControl(const TagAiCloudSrvResult& result, ControlStatus& status);
bool ReadSites(const TagAiCloudSrvResult& result, SiteList& sites);
bool ReadOverlay(const TagAiCloudSrvResult& result, bool& paused);
bool ReadLinkId(const TagAiCloudSrvResult& result, unsigned int& linkId);

// Where results are shown. Results come on the link event thread, link notices and ticks on the control
// thread; an implementation does its own locking. Nothing throws.
class ResultView {
public:
    virtual ~ResultView() = default;

    virtual void ShowCaption(const Caption& caption) = 0;
    virtual void ShowCheckins(const std::vector<Checkin>& checkins) = 0;
    virtual void ShowControl(const ControlStatus& status) = 0;
    virtual void ShowSites(const SiteList& sites) = 0;
    // The switch for this terminal; those for others never get here.
    virtual void ShowOverlay(bool paused) = 0;
    // A result that has no shape of its own here.
    virtual void ShowOther(const TagAiCloudSrvResult& result) = 0;
    virtual void ShowLink(const KeeperNotice& notice) = 0;
    // Called about every kTickInterval: what waited long enough is shown.
    virtual void Tick(std::chrono::steady_clock::time_point now) = 0;
    // Shows what still waits. Nothing is shown afterwards.
    virtual void Finish() = 0;
};

inline constexpr std::chrono::milliseconds kTickInterval{200};

}  // namespace quor_terminal

#endif
