#include "platform_linux/websocket/link_engine.h"

#include <exception>
#include <system_error>
#include <utility>

#include "platform_linux/host_state.h"
#include "platform_linux/platform_thread.h"

namespace quor_platform::internal {
namespace {

void RunIo(boost::asio::io_context& io) {
    for (;;) {
        try {
            io.run();
            return;
        } catch (const std::exception& failure) {
            // Out of memory in one operation: its link goes silent and its liveness ends it; the others go
            // on.
            LogHost(QUOR_OM_LOG_LEVEL_ERROR, "a link operation failed: %s", failure.what());
        }
    }
}

}  // namespace

LinkEngine& LinkEngine::Instance() {
    static auto* const instance = new LinkEngine;
    return *instance;
}

LinkResult LinkEngine::StartLink(const LinkSettings& settings, ConnectionOptions options, unsigned int* id,
                                 Failure* failure) {
    std::shared_ptr<Link> link;
    try {
        MutexLock lock(m_mutex);
        if (m_state == State::kStopping) {
            failure->stage = Stage::kSettings;
            failure->text = "the platform is shutting down";
            return LinkResult::kShuttingDown;
        }
        if (m_state == State::kIdle) {
            StartThreads();
        }
        const unsigned int newId = NextId();
        link = std::make_shared<Link>(newId, m_io, settings, options.target);
        link->Start(std::move(options));
        m_links[newId] = link;
    } catch (const std::system_error& error) {
        failure->stage = Stage::kSettings;
        failure->systemError = error.code().value();
        failure->text = std::string("no thread or timer for a link: ") + error.what();
        return LinkResult::kNoResources;
    }
    if (!link->WaitStarted(failure)) {
        Remove(link->Id());
        return ResultOfStart(*failure);
    }
    *id = link->Id();
    return LinkResult::kSuccess;
}

std::shared_ptr<Link> LinkEngine::Find(unsigned int id) const {
    MutexLock lock(m_mutex);
    const auto found = m_links.find(id);
    return found == m_links.end() ? nullptr : found->second;
}

std::shared_ptr<Link> LinkEngine::Remove(unsigned int id) {
    MutexLock lock(m_mutex);
    const auto found = m_links.find(id);
    if (found == m_links.end()) {
        return nullptr;
    }
    std::shared_ptr<Link> link = std::move(found->second);
    m_links.erase(found);
    return link;
}

void LinkEngine::Shutdown() {
    if (EventDispatcher::Instance().OnDispatcherThread()) {
        LogHost(QUOR_OM_LOG_LEVEL_ERROR, "Shutdown was called from a link event; the links stay");
        return;
    }
    MutexLock lock(m_mutex);
    while (m_state == State::kStopping) {
        m_stopped.Wait(lock);
    }
    if (m_state == State::kIdle) {
        return;
    }
    m_state = State::kStopping;
    std::map<unsigned int, std::shared_ptr<Link>> links;
    links.swap(m_links);
    std::thread thread = std::move(m_thread);
    lock.Unlock();
    for (const auto& [id, link] : links) {
        link->BeginEnd();
    }
    for (const auto& [id, link] : links) {
        link->WaitEnded();
    }
    EventDispatcher::Instance().Stop();
    lock.Lock();
    m_work.reset();
    lock.Unlock();
    thread.join();  // ends with the last operation, which the close timeouts bound
    lock.Lock();
    m_io.reset();
    m_state = State::kIdle;
    m_stopped.NotifyAll();
}

void LinkEngine::StartThreads() {
    constexpr int kOneThread = 1;
    m_io = std::make_shared<Io>(kOneThread);
    m_work.emplace(m_io->get_executor());
    EventDispatcher::Instance().Start();
    m_thread = StartThread("quor-link-io", [io = m_io] { RunIo(*io); });
    m_state = State::kRunning;
}

unsigned int LinkEngine::NextId() {
    do {
        ++m_lastId;
    } while (m_lastId == 0 || m_links.count(m_lastId) != 0);
    return m_lastId;
}

}  // namespace quor_platform::internal
