// login.cpp - the login client: the program's token source is asked at every fetch.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform_linux/host_state.h"
#include "platform_linux/secret.h"
#include "platform_linux/thread_annotations.h"
#include "quor_platform/login.h"

namespace quor_platform {
namespace {

using internal::Mutex;
using internal::MutexLock;

// Events of a login callback.
constexpr unsigned int kLoggedOut = 0;
constexpr unsigned int kLoggedIn = 1;

struct LoginState {
    Mutex mutex;
    std::shared_ptr<const TokenSource> source QUOR_GUARDED_BY(mutex);
    std::vector<QuorLoginCallback> callbacks QUOR_GUARDED_BY(mutex);  // each one once
};

// Never destroyed: a link may still fetch a token while the program ends.
LoginState& State() {
    static LoginState* const state = new LoginState;
    return *state;
}

int Refuse(int result, const char* text) {
    Failure failure;
    failure.stage = Stage::kToken;
    failure.systemError = result == EINVAL || result == ERANGE || result == ENOKEY ? result : 0;
    failure.text = text;
    RecordFailure(failure);
    return result;
}

int Fetch(char* token, unsigned int capacity) {
    std::shared_ptr<const TokenSource> source;
    {
        const MutexLock lock(State().mutex);
        source = State().source;
    }
    if (source == nullptr) {
        return Refuse(ENOKEY, "nobody is logged in: no token source is set");
    }
    internal::SecretText fetched;
    const int result = (*source)(fetched.text);
    if (result != 0) {
        const std::string text = "the token source failed with " + std::to_string(result);
        return Refuse(result, text.c_str());
    }
    if (fetched.text.empty() || fetched.text.find('\0') != std::string::npos) {
        return Refuse(ENOKEY, "the token source gave an empty token or one with a NUL inside");
    }
    if (fetched.text.size() >= capacity) {
        return Refuse(ERANGE, "the token is longer than its reader's buffer");
    }
    std::memcpy(token, fetched.text.c_str(), fetched.text.size() + 1);
    return 0;
}

}  // namespace

void SetTokenSource(TokenSource source) {
    std::shared_ptr<const TokenSource> next;
    if (source) {
        next = std::make_shared<const TokenSource>(std::move(source));
    }
    const unsigned int event = next != nullptr ? kLoggedIn : kLoggedOut;
    std::vector<QuorLoginCallback> callbacks;
    {
        const MutexLock lock(State().mutex);
        State().source.swap(next);
        callbacks = State().callbacks;
    }
    for (const QuorLoginCallback callback : callbacks) {
        callback(event, nullptr);
    }
}

}  // namespace quor_platform

int QuorLoginInitialize(QuorLoginCallback callback) {
    using namespace quor_platform;
    if (callback == nullptr) {
        return Refuse(EINVAL, "the login client was initialised without a callback");
    }
    try {
        const MutexLock lock(State().mutex);
        std::vector<QuorLoginCallback>& callbacks = State().callbacks;
        if (std::find(callbacks.begin(), callbacks.end(), callback) == callbacks.end()) {
            callbacks.push_back(callback);
        }
        return 0;
    } catch (...) {
        return ENOMEM;
    }
}

int QuorLoginGetConfToken(char* token, unsigned int capacity) {
    using namespace quor_platform;
    if (token == nullptr || capacity == 0) {
        return Refuse(EINVAL, "a token was asked for without a buffer");
    }
    token[0] = '\0';
    try {
        return Fetch(token, capacity);
    } catch (...) {
        return Refuse(EFAULT, "the token source threw an exception");
    }
}
