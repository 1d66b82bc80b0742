#include "result_observer.h"

#include <vector>

namespace quor_terminal {

void ResultObserver::Update(const TagAiCloudSrvResult& result) noexcept {
    m_statistics.CountResult(result.id);
    Caption caption;
    std::vector<Checkin> checkins;
    unsigned int linkId = 0;
    switch (result.id) {
        case AI_SUB_ID_CAPTION:
            if (ReadCaption(result, caption)) {
                caption.duplicate = m_statistics.CountCaption(caption);
                m_view.ShowCaption(caption);
                return;
            }
            break;
        case AI_SUB_ID_CHECKIN:
            if (ReadCheckins(result, checkins)) {
                m_statistics.CountCheckins(checkins.size());
                m_view.ShowCheckins(checkins);
                return;
            }
            break;
        case AI_SUB_ID_WS_CONNECTED:
            if (ReadLinkId(result, linkId)) {
                m_keeper.OnConnected(linkId);
                return;
            }
            break;
        case AI_SUB_ID_CONF_CTRL:
        case AI_SUB_ID_CONF_SITE:
        case AI_SUB_ID_CAPTION_OVERLAY:
            if (ShowConference(result)) {
                return;
            }
            break;
        default:
            m_view.ShowOther(result);
            return;
    }
    m_statistics.CountUnreadable();
}

bool ResultObserver::ShowConference(const TagAiCloudSrvResult& result) {
    ControlStatus control;
    SiteList sites;
    bool paused = false;
    if (ReadControl(result, control)) {
        m_statistics.CountControl();
        m_view.ShowControl(control);
        return true;
    }
    if (ReadSites(result, sites)) {
        m_statistics.CountSites(sites.sites.size());
        m_view.ShowSites(sites);
        return true;
    }
    if (ReadOverlay(result, paused)) {
        m_statistics.CountOverlay();
        m_view.ShowOverlay(paused);
        return true;
    }
    return false;
}

}  // namespace quor_terminal
