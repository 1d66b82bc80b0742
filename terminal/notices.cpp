#include "notices.h"

#include <array>
#include <cstdio>

namespace quor_terminal {
namespace {

std::string Seconds(std::chrono::milliseconds wait) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f s", static_cast<double>(wait.count()) / 1000.0);
    return text.data();
}

}  // namespace

const char* NoticeWord(const KeeperNotice& notice) {
    switch (notice.kind) {
        case KeeperNotice::Kind::kOpening:
            return "opening";
        case KeeperNotice::Kind::kUp:
            return notice.recovered ? "recovered" : "up";
        case KeeperNotice::Kind::kLost:
            return "lost";
        case KeeperNotice::Kind::kAttemptFailed:
            return "failed";
        case KeeperNotice::Kind::kBackingOff:
            return "waiting";
        case KeeperNotice::Kind::kGivenUp:
            return "given-up";
        case KeeperNotice::Kind::kStopped:
            return "stopped";
    }
    return "unknown";
}

std::string NoticeText(const KeeperNotice& notice) {
    switch (notice.kind) {
        case KeeperNotice::Kind::kOpening:
            return notice.recovered ? "connecting again" : "connecting";
        case KeeperNotice::Kind::kUp:
            return notice.recovered ? "link restored, everything subscribed again"
                                    : "connected and subscribed";
        case KeeperNotice::Kind::kLost:
            return "link lost: " + notice.problem.text;
        case KeeperNotice::Kind::kAttemptFailed:
            return "no link: " + notice.problem.text;
        case KeeperNotice::Kind::kBackingOff:
            return (notice.afterLoss ? std::string() : "no link: " + notice.problem.text + "; ") +
                   "next attempt in " + Seconds(notice.wait);
        case KeeperNotice::Kind::kGivenUp:
            return "giving up: " + notice.problem.text;
        case KeeperNotice::Kind::kStopped:
            return "disconnected";
    }
    return {};
}

bool NoticeIsNews(const KeeperNotice& notice) {
    switch (notice.kind) {
        case KeeperNotice::Kind::kOpening:
            return !notice.recovered && notice.attempt == 1;
        case KeeperNotice::Kind::kAttemptFailed:  // the notice that follows says it again
        case KeeperNotice::Kind::kGivenUp:        // the program's last words say it, with advice
        case KeeperNotice::Kind::kStopped:
            return false;
        default:
            return true;
    }
}

}  // namespace quor_terminal
