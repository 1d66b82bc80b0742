#include "json_documents.h"

#include "notices.h"

namespace quor_terminal {

std::string PrintDocument(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json LinkDocument(const KeeperNotice& notice) {
    Json document = {{"kind", "link"}, {"state", NoticeWord(notice)}};
    if (!notice.problem.text.empty()) {
        document["problem"] = notice.problem.text;
    }
    if (notice.kind == KeeperNotice::Kind::kBackingOff) {
        document["waitMs"] = notice.wait.count();
    }
    return document;
}

}  // namespace quor_terminal
