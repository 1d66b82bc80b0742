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
                if (linkId != 0) {  // 0 is the manager link, which this program does not open
                    m_keeper.OnConnected(linkId);
                }
                return;
            }
            break;
        default:
            m_view.ShowOther(result);
            return;
    }
    m_statistics.CountUnreadable();
}

}  // namespace quor_terminal
