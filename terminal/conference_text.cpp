#include "conference_text.h"

#include <algorithm>

namespace quor_terminal {
namespace {

// More names than this make a line that nobody reads.
constexpr std::size_t kNamesShown = 6;

}  // namespace

std::string ControlText(const ControlStatus& status) {
    std::string text = "captions ";
    if (status.status == 0 || status.status == 1) {
        text += status.status == 1 ? "on" : "off";
    } else {
        text += "status " + std::to_string(status.status);
    }
    if (!status.srcLang.empty()) {
        text += ", " + status.srcLang;
    }
    if (!status.dstLang.empty()) {
        text += (status.srcLang.empty() ? ", to " : " to ") + status.dstLang;
    }
    if (status.enforce == 1) {
        text += ", enforced";
    } else if (status.enforce > 1) {
        text += ", enforce " + std::to_string(status.enforce);
    }
    return text;
}

std::string SitesText(const SiteList& sites) {
    const std::size_t count = sites.sites.size();
    std::string text = std::to_string(count) + (count == 1 ? " site" : " sites") + " (type " +
                       std::to_string(sites.type) + ")";
    const std::size_t shown = std::min(count, kNamesShown);
    for (std::size_t i = 0; i < shown; ++i) {
        const Site& site = sites.sites[i];
        text += (i == 0 ? ": " : ", ") + (site.name.empty() ? site.id : site.name);
    }
    if (count > shown) {
        text += " and " + std::to_string(count - shown) + " more";
    }
    return text;
}

std::string OverlayText(bool paused) {
    return paused ? "captions paused on this terminal" : "captions shown on this terminal";
}

}  // namespace quor_terminal
