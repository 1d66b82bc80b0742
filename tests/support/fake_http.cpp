// The HTTP transport.
#include <algorithm>
#include <cstring>
#include <optional>

#include "support/failing_new.h"
#include "support/fake_network.h"
#include "support/fake_platform.h"

namespace QuorTest {

namespace {

constexpr const char* kTransportModule = "fake_http";

char* HeapText(const std::string& text) {
    void* block = Fake().Allocate(static_cast<unsigned>(text.size()) + 1, 0, 1, kTransportModule);
    std::memcpy(block, text.data(), text.size());
    return static_cast<char*>(block);
}

void CopyConfig(HttpRequest& request, const tagHTTP_S_CONFIG_PARAM& config) {
    if (config.tlsParam == nullptr || config.cipherSuites == nullptr) {
        Fake().Violation("a send without TLS parameters or cipher suites");
        return;
    }
    request.caPath = config.tlsParam->caPath;
    request.verifyPeer = config.tlsParam->verifyPeer;
    request.checkRevocation = config.tlsParam->checkRevocation;
    request.suites.assign(config.cipherSuites->suites,
                          config.cipherSuites->suites + config.cipherSuites->count);
    request.firstTimeout = config.firstTimeout;
    request.secondTimeout = config.secondTimeout;
    request.reservedIsNull = config.reserved == nullptr;
}

void CopyHeaders(HttpRequest& request, const tagHTTP_HEADER* headers, unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
        request.headers.emplace_back(headers[i].name, headers[i].value);
    }
}

void CopyBody(HttpRequest& request, const char* body, unsigned length) {
    if (body != nullptr) {
        request.body.emplace(body, length);
    } else if (length != 0) {
        Fake().Violation("a send with a body length and no body");
    }
}

}  // namespace

bool FakeNetwork::IsInitialised() const {
    const std::lock_guard<std::mutex> guard(mutex);
    return m_initialised;
}

void FakeNetwork::SetInitialised(bool initialised) {
    const std::lock_guard<std::mutex> guard(mutex);
    m_initialised = initialised;
}

HttpAnswer FakeNetwork::NextAnswer(const HttpRequest& request) {
    if (onRequest) {
        return onRequest(request);
    }
    const std::lock_guard<std::mutex> guard(mutex);
    if (script.empty()) {
        return answer;
    }
    HttpAnswer next = script.front();
    script.pop_front();
    return next;
}

unsigned FakeNetwork::SendSynchronous(tagHTTP_S_SYN_SEND_PARAM& param) {
    const NewsSucceed sheltered;
    const bool fails = Fake().Enter(Fn::HttpSynSend);
    HttpRequest request;
    request.synchronous = true;
    request.method = param.method;
    request.url = std::string(param.url, strnlen(param.url, param.urlLen));
    request.urlLen = param.urlLen;
    request.locksHeld = Fake().LocksHeld();
    CopyHeaders(request, param.headers, param.headerCount);
    CopyBody(request, param.body, param.bodyLen);
    CopyConfig(request, param.config);
    {
        const std::lock_guard<std::mutex> guard(mutex);
        requests.push_back(request);
    }
    param.rspBody = nullptr;
    param.rspExtra = nullptr;
    param.rspStatus = 0;
    if (fails) {
        return Fake().FailResult(Fn::HttpSynSend);
    }
    if (!IsInitialised()) {
        return HTTP_ERRORCODE_NOT_INITIALISED;
    }
    const HttpAnswer with = NextAnswer(request);
    if (with.result == 0) {
        param.rspStatus = static_cast<unsigned>(with.status);
        param.rspBody = with.body ? HeapText(*with.body) : nullptr;
        param.rspExtra = with.extra ? HeapText("extra") : nullptr;
    }
    return with.result;
}

unsigned FakeNetwork::SendAsynchronous(tagHTTP_S_ASYN_SEND_PARAM& param, unsigned long& handle) {
    std::optional<NewsSucceed> sheltered(std::in_place);
    const bool fails = Fake().Enter(Fn::HttpAsynSend);
    HttpRequest request;
    request.method = param.method;
    request.url = param.url;
    request.userData = param.userData;
    request.handleOnEntry = handle;
    request.locksHeld = Fake().LocksHeld();
    CopyHeaders(request, param.headers, param.headerCount);
    CopyBody(request, param.body, param.bodyLen);
    CopyConfig(request, param.config);
    Flight flight;
    flight.callback = param.callback;
    flight.userData = param.userData;
    if (fails) {
        flight.failure = Fake().FailResult(Fn::HttpAsynSend);
    } else if (!IsInitialised()) {
        flight.failure = HTTP_ERRORCODE_NOT_INITIALISED;
    }
    const std::optional<unsigned> failure = flight.failure;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        handle = request.handle = flight.handle = ++m_lastHandle;
        flight.request = requests.size();
        flight.generation = m_generation;
        requests.push_back(request);
        m_flights.push_back(std::move(flight));
    }
    if (!holdAnswers) {
        HttpAnswer with;
        with.result = failure.value_or(0);
        if (!failure) {
            with = NextAnswer(request);
        }
        sheltered.reset();
        static_cast<void>(Finish(handle, with));  // the end of the transport may come first
        sheltered.emplace();                      // the record goes at the end, with the token in its headers
    }
    return failure.value_or(0);
}

FakeNetwork::Flight* FakeNetwork::Find(unsigned long handle) {
    const auto it = std::find_if(m_flights.begin(), m_flights.end(),
                                 [=](const Flight& flight) { return flight.handle == handle; });
    return it == m_flights.end() ? nullptr : &*it;
}

HttpRequest* FakeNetwork::RecordOf(const Flight& flight) {
    return flight.generation == m_generation ? &requests[flight.request] : nullptr;
}

// Runs the callback. The flight stays where it is until then: a deque moves nothing when others are appended.
bool FakeNetwork::Finish(unsigned long handle, const HttpAnswer& with) {
    std::optional<NewsSucceed> sheltered(std::in_place);  // but the callback is not
    std::unique_lock<std::mutex> guard(mutex);
    Flight* flight = Find(handle);
    if (flight == nullptr || flight->inCallback) {
        return false;
    }
    const unsigned result = flight->failure.value_or(with.result);
    if ((result == 0 && !with.noRecord) || with.alsoRecord) {
        flight->response = std::make_unique<Response>();
        flight->response->body = with.body.value_or("");
        flight->response->record.statusCode = with.status;
        flight->response->record.body = with.body ? flight->response->body.c_str() : nullptr;
        flight->response->record.bodyLen = static_cast<unsigned>(flight->response->body.size());
    }
    tagST_HTTP_RSP* record = flight->response ? &flight->response->record : nullptr;
    flight->inCallback = true;
    const QuorHttpCallback callback = flight->callback;
    void* userData = flight->userData;
    guard.unlock();
    sheltered.reset();
    const unsigned callbackResult =
        callback == nullptr ? 0 : callback(handle, static_cast<EN_HTTP_ERRORCODE>(result), record, userData);
    sheltered.emplace();
    guard.lock();
    flight = Find(handle);
    if (flight == nullptr) {
        return true;  // reset meanwhile
    }
    if (HttpRequest* request = RecordOf(*flight)) {
        request->calledBack = true;
        request->callbackResult = callbackResult;
    }
    const bool released = flight->released;
    m_flights.erase(std::find_if(m_flights.begin(), m_flights.end(),
                                 [=](const Flight& other) { return other.handle == handle; }));
    guard.unlock();
    if (!released && callback != nullptr) {
        Fake().Violation("a callback returned without releasing its handle");
    }
    return true;
}

unsigned FakeNetwork::Release(unsigned long handle) {
    const bool fails = Fake().Enter(Fn::HttpRelease);
    std::unique_lock<std::mutex> guard(mutex);
    Flight* flight = Find(handle);
    if (flight == nullptr || !flight->inCallback || flight->released) {
        guard.unlock();
        Fake().Violation("HTTPAPI_ReleaseHandle: unknown, released or outside its callback");
        return 1;
    }
    flight->released = true;
    if (flight->response) {  // who reads on reads nothing good
        flight->response->body.assign(flight->response->body.size(), '\xDD');
        flight->response.reset();
    }
    if (HttpRequest* request = RecordOf(*flight)) {
        ++request->releases;
    }
    return fails ? Fake().FailResult(Fn::HttpRelease) : 0;
}

std::vector<std::size_t> FakeNetwork::Held() const {
    const std::lock_guard<std::mutex> guard(mutex);
    std::vector<std::size_t> held;
    for (const Flight& flight : m_flights) {
        if (!flight.inCallback && flight.generation == m_generation) {
            held.push_back(flight.request);
        }
    }
    return held;
}

void FakeNetwork::Complete(std::size_t request, const HttpAnswer& with) {
    unsigned long handle = 0;
    {
        const std::lock_guard<std::mutex> guard(mutex);
        handle = request < requests.size() ? requests[request].handle : 0;
    }
    if (!Finish(handle, with)) {
        Fake().Violation("a request was to be answered twice");
    }
}

void FakeNetwork::CompleteAll(const HttpAnswer& with) {
    for (;;) {
        unsigned long handle = 0;
        {
            const std::lock_guard<std::mutex> guard(mutex);
            for (const Flight& flight : m_flights) {
                if (!flight.inCallback) {
                    handle = flight.handle;
                    break;
                }
            }
        }
        if (handle == 0) {
            return;
        }
        static_cast<void>(Finish(handle, with));  // its sender may come first
    }
}

}  // namespace QuorTest

using QuorTest::Fake;
using QuorTest::Fn;
using QuorTest::Network;

extern "C" {

unsigned int quor_http_init(void) {
    if (Fake().Enter(Fn::HttpInit)) {
        return Fake().FailResult(Fn::HttpInit);
    }
    Network().SetInitialised(true);
    return 0;
}

// Ends what is under way, also when it then fails.
unsigned int quor_http_uninit(void) {
    const bool fails = Fake().Enter(Fn::HttpUninit);
    Network().SetInitialised(false);
    QuorTest::HttpAnswer cancelled;
    cancelled.result = HTTP_ERRORCODE_CANCELLED;
    Network().CompleteAll(cancelled);
    return fails ? Fake().FailResult(Fn::HttpUninit) : 0;
}

unsigned int quor_http_syn_send(struct tagHTTP_S_SYN_SEND_PARAM* param) {
    return Network().SendSynchronous(*param);
}

unsigned int quor_http_asyn_send(struct tagHTTP_S_ASYN_SEND_PARAM* param, unsigned long* handle) {
    return Network().SendAsynchronous(*param, *handle);
}

unsigned int HTTPAPI_ReleaseHandle(unsigned long handle) {
    return Network().Release(handle);
}

}  // extern "C"
