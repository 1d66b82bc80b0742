#include "message_bodies.h"

#include "json_node.h"

namespace quor_simulator {

std::string CheckInBody(const std::vector<Person>& people, const std::string& time, const std::string& type) {
    Json list = Json::array();
    for (const Person& person : people) {
        list.push_back({{"name", person.name},
                        {"account", person.account},
                        {"checkInTime", time},
                        {"type", type},
                        {"participantName", person.name}});
    }
    return Json{{"checkInfoList", list}}.dump();
}

std::string CaptionBody(const Caption& caption) {
    Json body{{"uuid", caption.speaker.uuid}, {"name", caption.speaker.name},
              {"text", caption.text},         {"final", caption.isFinal},
              {"srcLang", caption.srcLang},   {"startTime", caption.startTimeS},
              {"endTime", caption.endTimeS}};
    if (!caption.dstLang.empty()) {
        body["transText"] = caption.transText;
        body["dstLang"] = caption.dstLang;
    }
    return body.dump();
}

std::string ControlBody(const ControlState& state) {
    Json members{{"subtitleStatus", state.subtitleStatus}};
    if (!state.srcLang.empty()) {
        members["srcLang"] = state.srcLang;
    }
    if (!state.dstLang.empty()) {
        members["dstLang"] = state.dstLang;
    }
    if (state.enforce) {
        members["enforce"] = *state.enforce;
    }
    return Json{{"state", members}}.dump();
}

std::string SitesBody(int type, const std::vector<Site>& sites) {
    Json list = Json::array();
    for (const Site& site : sites) {
        list.push_back({{"id", site.id}, {"name", site.name}});
    }
    return Json{{"type", type}, {"size", sites.size()}, {"changeList", list}}.dump();
}

std::string OverlayBody(const std::string& uri, bool pause) {
    return Json{{"uri", uri}, {"pause", pause}}.dump();
}

}  // namespace quor_simulator
