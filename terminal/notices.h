// notices.h - the keeper's notices in words.
#ifndef QUOR_TERMINAL_NOTICES_H
#define QUOR_TERMINAL_NOTICES_H

#include <string>

#include "link_keeper.h"

namespace quor_terminal {

// A word for machines: "opening", "up", "recovered", "lost", "failed", "waiting", "given-up", "stopped".
const char* NoticeWord(const KeeperNotice& notice);

// One line for people.
std::string NoticeText(const KeeperNotice& notice);

// Whether people want to read it: the first opening and the wait after a loss, not every step between.
bool NoticeIsNews(const KeeperNotice& notice);

}  // namespace quor_terminal

#endif
