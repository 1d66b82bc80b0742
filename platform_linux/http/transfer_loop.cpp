#include "platform_linux/http/transfer_loop.h"

#include <poll.h>

#include <algorithm>
#include <new>
#include <utility>

namespace quor_platform::internal {
namespace {

short CurlEvents(short events) {
    return static_cast<short>(((events & POLLIN) != 0 ? CURL_WAIT_POLLIN : 0) |
                              ((events & POLLOUT) != 0 ? CURL_WAIT_POLLOUT : 0));
}

}  // namespace

TransferLoop::TransferLoop(long keptConnections) : m_multi(curl_multi_init()) {
    if (m_multi == nullptr ||
        curl_multi_setopt(m_multi.get(), CURLMOPT_MAXCONNECTS, keptConnections) != CURLM_OK) {
        throw std::bad_alloc();
    }
}

void TransferLoop::Start(Exchange& exchange) {
    m_lookingUp.reserve(m_lookingUp.size() + 1);
    m_finishedAtStart.reserve(m_finishedAtStart.size() + 1);
    exchange.Start(m_multi.get());
    if (exchange.LookingUp()) {
        m_lookingUp.push_back(&exchange);
    } else if (exchange.Finished()) {
        m_finishedAtStart.push_back(&exchange);
    }
}

void TransferLoop::Forget(const Exchange& exchange) {
    std::erase(m_lookingUp, &exchange);
    std::erase(m_finishedAtStart, &exchange);
}

std::vector<Exchange*> TransferLoop::Step(int mostMs) {
    std::vector<Exchange*> finished;
    TakeFinished(finished);
    if (finished.empty()) {
        Wait(mostMs);
        TakeFinished(finished);
    }
    return finished;
}

void TransferLoop::TakeFinished(std::vector<Exchange*>& finished) {
    finished.insert(finished.end(), m_finishedAtStart.begin(), m_finishedAtStart.end());
    m_finishedAtStart.clear();
    int running = 0;
    curl_multi_perform(m_multi.get(), &running);
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(m_multi.get(), &left)) {
        Exchange* exchange = nullptr;
        if (message->msg == CURLMSG_DONE &&
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &exchange) == CURLE_OK) {
            exchange->TransferDone(message->data.result);
            finished.push_back(exchange);
        }
    }
}

void TransferLoop::Wait(int mostMs) {
    std::vector<pollfd> all;
    std::vector<std::size_t> ends;  // where each look-up's descriptors end
    for (const Exchange* exchange : m_lookingUp) {
        mostMs = std::min(mostMs, const_cast<Exchange*>(exchange)->ServerLookup().AddWaits(&all));
        ends.push_back(all.size());
    }
    std::vector<curl_waitfd> waits;
    waits.reserve(all.size());
    for (const pollfd& wait : all) {
        waits.push_back({wait.fd, CurlEvents(wait.events), 0});
    }
    curl_multi_poll(m_multi.get(), waits.data(), static_cast<unsigned int>(waits.size()), mostMs, nullptr);
    std::size_t begin = 0;
    std::vector<Exchange*> still;
    for (std::size_t i = 0; i < m_lookingUp.size(); ++i) {
        std::vector<pollfd> own(all.begin() + static_cast<std::ptrdiff_t>(begin),
                                all.begin() + static_cast<std::ptrdiff_t>(ends[i]));
        for (std::size_t k = 0; k < own.size(); ++k) {
            own[k].revents = static_cast<short>(waits[begin + k].revents != 0 ? own[k].events : 0);
        }
        begin = ends[i];
        Exchange* const exchange = m_lookingUp[i];
        exchange->ServerLookup().Progress(own);
        if (!exchange->ServerLookup().Finished()) {
            still.push_back(exchange);
            continue;
        }
        exchange->LookupDone();
        if (exchange->Finished()) {
            m_finishedAtStart.push_back(exchange);
        }
    }
    m_lookingUp.swap(still);
}

}  // namespace quor_platform::internal
