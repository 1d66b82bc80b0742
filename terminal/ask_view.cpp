#include "ask_view.h"

#include <nlohmann/json.hpp>
#include <string_view>
#include <utility>

#include "json_documents.h"
#include "notices.h"
#include "text_layout.h"

namespace quor_terminal {
namespace {

// As Printable, but the lines of an answer are its author's.
std::string PrintableLines(std::string_view text) {
    std::string out;
    for (;;) {
        const std::size_t end = text.find('\n');
        out += Printable(text.substr(0, end));
        if (end == std::string_view::npos) {
            return out;
        }
        out += '\n';
        text.remove_prefix(end + 1);
    }
}

Json SubjectDocument(const char* kind, const AskSubject& subject) {
    return {{"kind", kind},
            {"seqNum", subject.number},
            {"reqType", subject.kind},
            {"link", subject.managerLink ? "manager" : "conference"}};
}

}  // namespace

PlainAskView::PlainAskView(TextSink answer, TextSink notices)
    : m_answer(std::move(answer)), m_notices(std::move(notices)) {}

// Somebody who asks wants the answer; the link is worth a word only when it makes trouble.
void PlainAskView::ShowLink(const KeeperNotice& notice) {
    const bool usual = notice.kind == KeeperNotice::Kind::kOpening || notice.kind == KeeperNotice::Kind::kUp;
    // A lost link ends the request, and the last words say so.
    if (!usual && notice.kind != KeeperNotice::Kind::kLost && NoticeIsNews(notice)) {
        const MutexLock lock(m_mutex);
        m_notices("quor-terminal: " + Printable(NoticeText(notice)) + "\n");
    }
}

void PlainAskView::ShowRequest(const AskSubject&) {}

void PlainAskView::ShowPiece(const AnswerPiece& piece) {
    const MutexLock lock(m_mutex);
    Write(PrintableLines(piece.content));
}

void PlainAskView::Finish(const AskSubject& subject, const AskReport& report) {
    const MutexLock lock(m_mutex);
    if (m_inLine) {
        Write("\n");
    }
    if (report.outcome == AskOutcome::kSent) {
        m_notices("quor-terminal: sent " + subject.kind + " for number " + std::to_string(subject.number) +
                  "; the server does not answer it\n");
    }
}

void PlainAskView::Write(const std::string& text) {
    if (!text.empty()) {
        m_inLine = text.back() != '\n';
        m_answer(text);
    }
}

JsonAskView::JsonAskView(TextSink sink) : m_sink(std::move(sink)) {}

void JsonAskView::ShowLink(const KeeperNotice& notice) {
    WriteDocument(PrintDocument(LinkDocument(notice)));
}

void JsonAskView::ShowRequest(const AskSubject& subject) {
    WriteDocument(PrintDocument(SubjectDocument("request", subject)));
}

void JsonAskView::ShowPiece(const AnswerPiece& piece) {
    Json document = {{"id", piece.serviceId}, {"kind", "answer"}, {"understood", piece.understood}};
    if (piece.sequenceNumber) {
        document["seqNum"] = *piece.sequenceNumber;
    }
    if (!piece.requestType.empty()) {
        document["reqType"] = piece.requestType;
    }
    if (piece.number) {
        document["piece"] = *piece.number;
    }
    document["content"] = piece.content;
    document["final"] = piece.isFinal;
    WriteDocument(PrintDocument(document));
}

void JsonAskView::Finish(const AskSubject& subject, const AskReport& report) {
    Json document = SubjectDocument("outcome", subject);
    document["outcome"] = OutcomeWord(report.outcome);
    document["pieces"] = report.pieces;
    if (!report.problem.text.empty()) {
        document["problem"] = report.problem.text;
    }
    WriteDocument(PrintDocument(document));
}

void JsonAskView::WriteDocument(const std::string& document) {
    const MutexLock lock(m_mutex);
    m_sink(document);
}

}  // namespace quor_terminal
