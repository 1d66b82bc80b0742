// http.cpp - the functions of quor_platform/http.h, and the host header's about requests.

#include "quor_platform/http.h"

#include <algorithm>
#include <utility>

#include "platform_linux/host_state.h"
#include "platform_linux/http/engine.h"
#include "platform_linux/http/request.h"
#include "platform_linux/services.h"
#include "platform_linux/thread_annotations.h"

namespace quor_platform {
namespace {

using internal::AnswerBody;
using internal::AsyncRequest;
using internal::Engine;
using internal::FailedOutcome;
using internal::MakeRequest;
using internal::Mutex;
using internal::MutexLock;
using internal::Outcome;
using internal::RequestView;

// The longest URL text that is looked at where its buffer has no stated end; longer URLs are refused anyway.
constexpr std::size_t kUrlReach = 16384;

struct Settings {
    Mutex mutex;
    HttpSettings settings QUOR_GUARDED_BY(mutex);
};

Settings& Stored() {
    static auto* const stored = new Settings;
    return *stored;
}

unsigned int Number(const Outcome& outcome) {
    return static_cast<unsigned int>(outcome.result);
}

Outcome InvalidOutcome(const char* text) {
    return FailedOutcome(HTTP_ERRORCODE_INVALID, Stage::kSettings, text);
}

Outcome NoMemory() {
    return FailedOutcome(HTTP_ERRORCODE_NO_MEMORY, Stage::kSettings, "no memory for the request");
}

Outcome InvalidOutcome(Failure failure) {
    Outcome outcome;
    outcome.result = HTTP_ERRORCODE_INVALID;
    outcome.failure = std::move(failure);
    return outcome;
}

RequestView ViewOf(const tagHTTP_S_SYN_SEND_PARAM& param) {
    RequestView view;
    view.method = param.method;
    view.url = param.url;
    view.urlBytes = param.urlLen;
    view.headers = param.headers;
    view.headerCount = param.headerCount;
    view.body = param.body;
    view.bodyLength = param.bodyLen;
    view.config = &param.config;
    return view;
}

RequestView ViewOf(const tagHTTP_S_ASYN_SEND_PARAM& param) {
    RequestView view;
    view.method = param.method;
    view.url = param.url;
    view.urlBytes = kUrlReach;
    view.headers = param.headers;
    view.headerCount = param.headerCount;
    view.body = param.body;
    view.bodyLength = param.bodyLen;
    view.config = &param.config;
    view.copyBody = true;
    return view;
}

Outcome Send(tagHTTP_S_SYN_SEND_PARAM& param) {
    Failure failure;
    auto request = MakeRequest(ViewOf(param), GetHttpSettings(), &failure);
    if (request == nullptr) {
        return InvalidOutcome(std::move(failure));
    }
    AnswerBody body;
    Outcome outcome = Engine::Instance().Send(std::move(request), &body);
    if (outcome.result == HTTP_ERRORCODE_OK) {
        param.rspStatus = static_cast<unsigned int>(outcome.status);
        param.rspBody = body.Release();
    }
    return outcome;
}

// Nothing: the request is under way.
std::optional<Outcome> Start(const tagHTTP_S_ASYN_SEND_PARAM& param, unsigned long handle) {
    const auto record = std::make_shared<AsyncRequest>();
    record->handle = handle;
    record->callback = param.callback;
    record->userData = param.userData;
    Failure failure;
    auto request = MakeRequest(ViewOf(param), GetHttpSettings(), &failure);
    std::optional<Outcome> outcome;
    if (request == nullptr) {
        outcome = InvalidOutcome(std::move(failure));
    } else {
        outcome = Engine::Instance().Start(record, std::move(request));
    }
    if (outcome.has_value()) {
        record->failure = outcome->failure;
        Engine::Instance().AddFinished(record);
    }
    return outcome;
}

}  // namespace

void SetHttpSettings(const HttpSettings& settings) {
    static constexpr std::chrono::milliseconds kDay{86'400'000};
    static constexpr std::size_t kMostAnswerBytes = 1U << 30U;
    const HttpSettings usual;
    HttpSettings next = settings;
    const auto correct = [](std::chrono::milliseconds& value, std::chrono::milliseconds otherwise) {
        value = value.count() > 0 && value <= kDay ? value : otherwise;
    };
    correct(next.connectTimeout, usual.connectTimeout);
    correct(next.totalTimeout, usual.totalTimeout);
    if (next.maxAnswerBytes == 0 || next.maxAnswerBytes > kMostAnswerBytes) {
        next.maxAnswerBytes = usual.maxAnswerBytes;
    }
    const MutexLock lock(Stored().mutex);
    Stored().settings = next;
}

HttpSettings GetHttpSettings() {
    const MutexLock lock(Stored().mutex);
    return Stored().settings;
}

Failure HttpFailure(unsigned long handle) {
    return Engine::Instance().FailureOf(handle);
}

void internal::ShutdownHttp() {
    Engine::Instance().Shutdown();
}

void internal::AbortHttp(bool abort) {
    Engine::Instance().Abort(abort);
}

}  // namespace quor_platform

unsigned int quor_http_init(void) {
    try {
        return quor_platform::Engine::Instance().Init();
    } catch (...) {
        return HTTP_ERRORCODE_NO_MEMORY;
    }
}

unsigned int quor_http_uninit(void) {
    try {
        return quor_platform::Engine::Instance().Uninit();
    } catch (...) {
        return HTTP_ERRORCODE_NO_MEMORY;
    }
}

unsigned int quor_http_syn_send(struct tagHTTP_S_SYN_SEND_PARAM* param) {
    using namespace quor_platform;
    Outcome outcome;
    try {
        if (param == nullptr) {
            outcome = InvalidOutcome("a request was sent without its record");
        } else {
            param->rspBody = nullptr;
            param->rspStatus = 0;
            param->rspExtra = nullptr;
            outcome = Send(*param);
        }
    } catch (...) {
        outcome = NoMemory();
    }
    RecordFailure(outcome.failure);
    return Number(outcome);
}

unsigned int quor_http_asyn_send(struct tagHTTP_S_ASYN_SEND_PARAM* param, unsigned long* handle) {
    using namespace quor_platform;
    if (param == nullptr || param->callback == nullptr) {
        RecordFailure(InvalidOutcome("a request was sent without its record or its callback").failure);
        return HTTP_ERRORCODE_INVALID;
    }
    const QuorHttpCallback callback = param->callback;
    void* const userData = param->userData;
    const unsigned long number = Engine::Instance().NewHandle();
    if (handle != nullptr) {
        *handle = number;
    }
    std::optional<Outcome> outcome;
    try {
        outcome = Start(*param, number);
    } catch (...) {
        outcome = NoMemory();
    }
    if (!outcome.has_value()) {
        return HTTP_ERRORCODE_OK;
    }
    RecordFailure(outcome->failure);
    callback(number, outcome->result, nullptr, userData);
    RecordFailure(outcome->failure);  // the callback may have sent something else
    return Number(*outcome);
}

unsigned int HTTPAPI_ReleaseHandle(unsigned long handle) {
    return quor_platform::Engine::Instance().Release(handle);
}
