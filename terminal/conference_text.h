// conference_text.h - the state of a conference in words: control, sites, overlay.
//
// Threads: pure functions. The texts are not made printable here.
#ifndef QUOR_TERMINAL_CONFERENCE_TEXT_H
#define QUOR_TERMINAL_CONFERENCE_TEXT_H

#include <string>

#include "results.h"

namespace quor_terminal {

// "captions on, en-US to zh-CN, enforced"
std::string ControlText(const ControlStatus& status);

// "3 sites (type 1): Ana, Ben, Cai"; of a long list the first ones by name and how many more.
std::string SitesText(const SiteList& sites);

// "captions paused on this terminal"
std::string OverlayText(bool paused);

}  // namespace quor_terminal

#endif
