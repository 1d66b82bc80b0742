// ask_view.h - where an answer is shown: as the text that it is, or as JSON documents.
//
// Threads: every function is callable from any thread. Locks: each view's m_mutex keeps its output in order;
// it is held while the output is written.
#ifndef QUOR_TERMINAL_ASK_VIEW_H
#define QUOR_TERMINAL_ASK_VIEW_H

#include <string>

#include "answer.h"
#include "ask_session.h"
#include "link_keeper.h"
#include "mutex.h"
#include "output.h"

namespace quor_terminal {

// What is asked, for the view.
struct AskSubject {
    unsigned int number = 0;
    std::string kind;
    bool managerLink = false;
};

class AskView {
public:
    virtual ~AskView() = default;
    virtual void ShowLink(const KeeperNotice& notice) = 0;
    // About to be sent.
    virtual void ShowRequest(const AskSubject& subject) = 0;
    virtual void ShowPiece(const AnswerPiece& piece) = 0;
    // The last one. Says nothing about problems: the program's last words do.
    virtual void Finish(const AskSubject& subject, const AskReport& report) = 0;
};

// The content of the pieces, one after another as they come, and nothing else; notices go to the second sink.
class PlainAskView : public AskView {
public:
    PlainAskView(TextSink answer, TextSink notices);

    void ShowLink(const KeeperNotice& notice) override;
    void ShowRequest(const AskSubject& subject) override;
    void ShowPiece(const AnswerPiece& piece) override;
    void Finish(const AskSubject& subject, const AskReport& report) override;

private:
    void Write(const std::string& text) QUOR_TERMINAL_REQUIRES(m_mutex);

    const TextSink m_answer;
    const TextSink m_notices;
    Mutex m_mutex;
    bool m_inLine QUOR_TERMINAL_GUARDED_BY(m_mutex) = false;  // the last line is not ended
};

// One document a line; docs/terminal.md lists the members.
class JsonAskView : public AskView {
public:
    explicit JsonAskView(TextSink sink);

    void ShowLink(const KeeperNotice& notice) override;
    void ShowRequest(const AskSubject& subject) override;
    void ShowPiece(const AnswerPiece& piece) override;
    void Finish(const AskSubject& subject, const AskReport& report) override;

private:
    void WriteDocument(const std::string& document);

    const TextSink m_sink;
    Mutex m_mutex;
};

}  // namespace quor_terminal

#endif
