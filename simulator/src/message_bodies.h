/* message_bodies.h - the JSON bodies of the topics, one function for each. Pure functions. */
#ifndef QUOR_SIMULATOR_MESSAGE_BODIES_H
#define QUOR_SIMULATOR_MESSAGE_BODIES_H

#include <optional>
#include <string>
#include <vector>

namespace quor_simulator {

struct Person {
    std::string uuid; /* of the site that speaks */
    std::string name;
    std::string account;
};

/* More than this in one check-in message is refused by terminals. */
inline constexpr std::size_t kMaxCheckInsPerMessage = 5;
inline constexpr std::size_t kMaxSites = 1600;

std::string CheckInBody(const std::vector<Person>& people, const std::string& time, const std::string& type);

struct Caption {
    std::string text;
    Person speaker;
    bool isFinal = true;
    std::string srcLang;
    double startTimeS = 0; /* since the scenario began */
    double endTimeS = 0;
    std::string transText; /* with dstLang: a translation; both empty: a caption */
    std::string dstLang;
};
std::string CaptionBody(const Caption& caption);

struct ControlState {
    int subtitleStatus = 0;
    std::string srcLang; /* empty: left out; dstLang and enforce likewise */
    std::string dstLang;
    std::optional<int> enforce;
};
std::string ControlBody(const ControlState& state);

struct Site {
    std::string id;
    std::string name;
};
std::string SitesBody(int type, const std::vector<Site>& sites);

std::string OverlayBody(const std::string& uri, bool pause);

}  // namespace quor_simulator

#endif
