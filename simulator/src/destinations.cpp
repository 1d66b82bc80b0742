#include "destinations.h"

namespace quor_simulator {
namespace {

constexpr std::string_view kProtectedPrefixes[] = {"/topic/conferences/", "/topic/terminal/", "/terminal/"};

}  // namespace

bool NeedsToken(std::string_view destination) {
    for (const std::string_view prefix : kProtectedPrefixes) {
        if (destination.substr(0, prefix.size()) == prefix) {
            return true;
        }
    }
    return false;
}

std::string ConferenceTopic(const std::string& conference) {
    return "/topic/conferences/" + conference;
}

std::string CheckInTopic(const std::string& conference) {
    return ConferenceTopic(conference) + "/checkinservice";
}

std::string CaptionTopic(const std::string& conference, const std::string& language) {
    return ConferenceTopic(conference) + "/subtitle/" + language;
}

std::string SitesTopic(const std::string& conference) {
    return ConferenceTopic(conference) + "/participantslist/general";
}

std::string OverlayTopic(const std::string& terminal) {
    return "/topic/terminal/" + terminal + "/subtitleoverlay";
}

std::string ModelAnswerTopic(const std::string& conference, const std::string& uri) {
    return "/topic/chat/" + conference + "/" + uri;
}

}  // namespace quor_simulator
