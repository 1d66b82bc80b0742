// result_observer.h - receives the library's results and hands each to the keeper, the statistics and the
// view.
//
// Threads: Update runs on the link event thread.
#ifndef QUOR_TERMINAL_RESULT_OBSERVER_H
#define QUOR_TERMINAL_RESULT_OBSERVER_H

#include "link_keeper.h"
#include "quor_ai/observer.h"
#include "results.h"
#include "statistics.h"

namespace quor_terminal {

class ResultObserver : public QuorAiEngine::ICloudSrvObserver {
public:
    // All three outlive the observer's attachment.
    ResultObserver(LinkKeeper& keeper, Statistics& statistics, ResultView& view)
        : m_keeper(keeper), m_statistics(statistics), m_view(view) {}

    void Update(const TagAiCloudSrvResult& result) noexcept override;

private:
    // Control, sites and overlay. False: the record is too short for its id.
    bool ShowConference(const TagAiCloudSrvResult& result);

    LinkKeeper& m_keeper;
    Statistics& m_statistics;
    ResultView& m_view;
};

}  // namespace quor_terminal

#endif
