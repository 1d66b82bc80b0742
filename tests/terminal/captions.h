// captions.h - short ways to say what a server sent.
#ifndef QUOR_TESTS_TERMINAL_CAPTIONS_H
#define QUOR_TESTS_TERMINAL_CAPTIONS_H

#include <string>

#include "results.h"

namespace quor_terminal {

inline Caption Spoken(const std::string& speaker, double startTime, const std::string& text, bool isFinal) {
    Caption caption;
    caption.site = "site-" + speaker;
    caption.speaker = speaker;
    caption.srcLang = "en-US";
    caption.startTime = startTime;
    caption.endTime = startTime + 1;
    caption.text = text;
    caption.isFinal = isFinal;
    return caption;
}

inline Caption Translated(const std::string& speaker, double startTime, const std::string& text,
                          const std::string& transText, bool isFinal) {
    Caption caption = Spoken(speaker, startTime, text, isFinal);
    caption.isTranslation = true;
    caption.dstLang = "zh-CN";
    caption.transText = transText;
    return caption;
}

inline KeeperNotice Notice(KeeperNotice::Kind kind, bool recovered = false, const std::string& text = "") {
    KeeperNotice notice;
    notice.kind = kind;
    notice.attempt = 1;
    notice.recovered = recovered;
    notice.problem.text = text;
    return notice;
}

}  // namespace quor_terminal

#endif
