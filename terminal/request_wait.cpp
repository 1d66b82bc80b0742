#include "request_wait.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quor_terminal {
namespace {

constexpr unsigned int kErrorLevel = 1;

constexpr std::string_view kPageRead = "<CloudQueryConfListPage>: parse conf list result: 0";

// Error records after which no notification comes, by how they begin.
struct SilentEnd {
    TagQuorAiSubId id;
    std::string_view text;
};
constexpr SilentEnd kSilentEnds[] = {
    {AI_SUB_ID_QUERY_CONF_LIST, "<AiHttpProcSyncRequest> failed: "},
    {AI_SUB_ID_QUERY_SIGN_IN, "<GetErrorCode>"},
    {AI_SUB_ID_QUERY_SIGN_IN, "<QuerySignInRspNotify>"},
    {AI_SUB_ID_QUERY_SIGN_IN, "<ParseSignInRes>"},
    {AI_SUB_ID_QUERY_SIGN_IN, "<ParseSigninCommonField>"},
    {AI_SUB_ID_QUERY_SIGN_IN, "<ParseSignedUniqueField>"},
    {AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, "<QuerySignInRspNotify>: pcString is null"},
    {AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, "<ParseAutoSignInRes>: parse root"},
    {AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, "<ParseAutoSignInRes> cannot parse"},
    {AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, "<ParseSigninCommonField>"},
    {AI_SUB_ID_FACE_RECOGNIZE, "<AiHttpProcSyncRequest> FaceRecogPhotoDeal "},
    {AI_SUB_ID_FACE_PHOTO, "<AiHttpProcSyncRequest> FaceQueryPhoto Deal "}};

// Error records of an item that no notification holds.
constexpr std::string_view kLostItems[] = {"<ProcPhotoDataToNotify> photo data is too big to send: ",
                                           "<ParseQueryFacePhotoRes> Parse array item "};

// The error record of an answer of which nothing is left to hand on. It ends the parts, and is no failure.
constexpr std::string_view kNothingLeft = "<ProcPhotoDataToNotify> faceInfoVec is empty";

// A participant without a name is one of these, and no failure.
constexpr std::string_view kHarmless = "<HttpJsonGetStr>";

bool BeginsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

bool IsLostItem(std::string_view text) {
    return std::any_of(std::begin(kLostItems), std::end(kLostItems),
                       [text](std::string_view start) { return BeginsWith(text, start); });
}

}  // namespace

void RequestWait::Begin(TagQuorAiSubId id) {
    const MutexLock lock(m_mutex);
    m_id = id;
    m_pages = 0;
    m_inParts = false;
    m_parts = RequestParts{};
    m_outcome = RequestOutcome{};
    if (m_stopped) {
        m_outcome.end = RequestEnd::kStopped;
    }
}

void RequestWait::BeginParts(TagQuorAiSubId id) {
    Begin(id);
    const MutexLock lock(m_mutex);
    m_inParts = true;
}

void RequestWait::EndParts() {
    const MutexLock lock(m_mutex);
    if (m_outcome.end == RequestEnd::kPending) {
        End(RequestEnd::kNotified, {});
    }
}

RequestParts RequestWait::TakeParts() {
    const MutexLock lock(m_mutex);
    return std::exchange(m_parts, RequestParts{});
}

void RequestWait::OnResult(const TagAiCloudSrvResult& result, const quor_platform::Failure& failure) {
    const MutexLock lock(m_mutex);
    if (result.id != m_id || m_outcome.end != RequestEnd::kPending) {
        return;
    }
    if (m_inParts && result.data != nullptr) {
        m_parts.notifications.emplace_back(result.data, result.data + result.len);
        m_changed.notify_all();
        return;
    }
    if (result.data != nullptr) {
        m_outcome.data.assign(result.data, result.data + result.len);
    }
    End(RequestEnd::kNotified, failure);
}

void RequestWait::OnLog(unsigned int level, std::string_view text, const quor_platform::Failure& failure) {
    const MutexLock lock(m_mutex);
    if (m_outcome.end != RequestEnd::kPending) {
        return;
    }
    if (level != kErrorLevel) {
        if (m_id == AI_SUB_ID_QUERY_CONF_LIST && text == kPageRead) {
            ++m_pages;
            m_changed.notify_all();
        }
        return;
    }
    if (m_outcome.words.empty() && !BeginsWith(text, kHarmless)) {
        m_outcome.words = text;
    }
    if (m_inParts && IsLostItem(text)) {
        m_parts.lost.emplace_back(text);
        m_changed.notify_all();
    }
    if (m_inParts && BeginsWith(text, kNothingLeft)) {
        End(RequestEnd::kNotified, failure);
        return;
    }
    const bool silent = std::any_of(
        std::begin(kSilentEnds), std::end(kSilentEnds),
        [id = m_id, text](const SilentEnd& end) { return end.id == id && BeginsWith(text, end.text); });
    if (silent) {
        End(RequestEnd::kFailed, failure);
    }
}

void RequestWait::OnRefused(const quor_platform::Failure& failure) {
    const MutexLock lock(m_mutex);
    if (m_outcome.end == RequestEnd::kPending) {
        End(RequestEnd::kFailed, failure);
    }
}

void RequestWait::Stop() {
    const MutexLock lock(m_mutex);
    m_stopped = true;
    if (m_outcome.end == RequestEnd::kPending) {
        End(RequestEnd::kStopped, {});
    }
}

void RequestWait::TimeOut() {
    const MutexLock lock(m_mutex);
    if (m_outcome.end == RequestEnd::kPending) {
        End(RequestEnd::kTimedOut, {});
    }
}

RequestOutcome RequestWait::Wait(const std::function<void(unsigned int pages)>& onPage) {
    unsigned int told = 0;
    for (;;) {
        unsigned int pages = 0;
        {
            const MutexLock lock(m_mutex);
            while (m_outcome.end == RequestEnd::kPending && m_pages == told && !HasParts()) {
                if (m_changed.wait_until(m_mutex, m_deadline) == std::cv_status::timeout &&
                    m_outcome.end == RequestEnd::kPending) {
                    End(RequestEnd::kTimedOut, {});
                }
            }
            if (m_pages == told) {
                RequestOutcome outcome = m_outcome;
                if (outcome.end == RequestEnd::kPending) {
                    outcome.end = RequestEnd::kNotified;  // of a part
                }
                return outcome;
            }
            pages = m_pages;
        }
        told = pages;
        if (onPage) {
            onPage(pages);
        }
    }
}

void RequestWait::End(RequestEnd end, const quor_platform::Failure& failure) {
    m_outcome.end = end;
    m_outcome.failure = failure;
    m_changed.notify_all();
}

}  // namespace quor_terminal
