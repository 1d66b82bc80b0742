#include "support/http_terminal.h"

namespace quor_test {

using quor_platform::internal::MutexLock;

namespace {

constexpr unsigned int kLogErrors = 1;
constexpr unsigned int kLogInformation = 3;

constexpr TagQuorAiSubId kTransportResults[] = {AI_SUB_ID_QUERY_SIGN_IN, AI_SUB_ID_REPORT_SIGN_IN,
                                                AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN, AI_SUB_ID_REPORT_AV_MATCH};

}  // namespace

HttpTerminal::HttpTerminal()
    : m_heapBefore(quor_platform::HeapLiveBytes()), m_observer(std::make_shared<RecordingObserver>()) {
    quor_platform::SetTokenSource([this](std::string& token) {
        ++m_tokenFetches;
        MutexLock lock(m_tokenMutex);
        token = m_token;
        return token.empty() ? 1 : 0;
    });
    quor_platform::SetLogLevel(kLogInformation);
    quor_platform::SetLogListener([this](const quor_platform::LogRecord& record) {
        m_log.Add({record.level, std::string(record.module, record.moduleLength), record.text});
    });
    for (const TagQuorAiSubId id : kTransportResults) {
        m_observer->OnNotification(
            id, [this](const TagAiCloudSrvResult&) { m_failures.Add(quor_platform::LastFailure()); });
    }
    adapter().Attach(m_observer);
}

HttpTerminal::~HttpTerminal() {
    quor_platform::AbortRequests();
    Stop();
    quor_platform::AllowRequests();
    adapter().Detach(m_observer.get());
    quor_platform::Shutdown();
    quor_platform::SetLogListener({});
    quor_platform::SetTokenSource({});
    quor_platform::SetTlsSettings({});
    quor_platform::SetDnsSettings({});
    quor_platform::SetHttpSettings({});
}

void HttpTerminal::Trust(const std::string& caFile) {
    quor_platform::TlsSettings settings;
    settings.caFile = caFile;
    quor_platform::SetTlsSettings(settings);
}

void HttpTerminal::AskDnsServer(const std::string& address) {
    quor_platform::DnsSettings settings;
    settings.servers = {address};
    quor_platform::SetDnsSettings(settings);
}

void HttpTerminal::SetLoginToken(const std::string& token) {
    MutexLock lock(m_tokenMutex);
    m_token = token;
}

int HttpTerminal::Start() {
    const int result = adapter().CloudHttpInit();
    m_started = m_started || result == 0;
    return result;
}

int HttpTerminal::Stop() {
    if (!m_started) {
        return 0;
    }
    m_started = false;
    return adapter().CloudHttpUninit();
}

std::vector<std::string> HttpTerminal::Errors() const {
    std::vector<std::string> texts;
    for (const LogLine& line : m_log.All()) {
        if (line.level == kLogErrors) {
            texts.push_back(line.text);
        }
    }
    return texts;
}

bool HttpTerminal::WaitForLog(const std::string& text, std::size_t count) const {
    return m_log.WaitFor(count, [&text](const LogLine& line) { return line.text == text; });
}

std::size_t HttpTerminal::LogCount(const std::string& text) const {
    return m_log.Count([&text](const LogLine& line) { return line.text == text; });
}

}  // namespace quor_test
