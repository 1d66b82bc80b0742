// messages.cpp - asynchronous messages to receivers that the program registered by module name: one bounded
// queue, one thread, one receiver at a time.

#include <array>
#include <cerrno>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "platform_linux/host_state.h"
#include "platform_linux/platform_thread.h"
#include "platform_linux/services.h"
#include "platform_linux/thread_annotations.h"
#include "quor_platform/os.h"

namespace quor_platform {
namespace {

using internal::Condition;
using internal::Mutex;
using internal::MutexLock;

// Messages that may wait for their receivers: 168 KiB. Senders beyond it are refused, never blocked.
constexpr std::size_t kQueueCapacity = 1024;

using Message = std::array<unsigned char, OS_MSG_SIZE>;
static_assert(OS_MSG_RECEIVER_OFFSET + OS_MSG_MODULE_NAME_CAPACITY <= OS_MSG_SIZE);

// The name in a message; not terminated within its capacity: empty, which names nobody.
std::string_view ReceiverName(const Message& message) {
    const auto* name = reinterpret_cast<const char*>(message.data() + OS_MSG_RECEIVER_OFFSET);
    const std::size_t length = strnlen(name, OS_MSG_MODULE_NAME_CAPACITY);
    return length < OS_MSG_MODULE_NAME_CAPACITY ? std::string_view(name, length) : std::string_view();
}

class MessageService {
public:
    static MessageService& Get();

    void SetReceiver(const std::string& name, MessageReceiver receiver);
    unsigned int Send(const void* message);
    void Shutdown();

private:
    using SharedReceiver = std::shared_ptr<const MessageReceiver>;

    void Run();
    void Deliver() QUOR_REQUIRES(m_mutex);

    Mutex m_mutex;
    Condition m_wake;      // a message came, or the thread is to end
    Condition m_finished;  // a receiver returned
    std::map<std::string, SharedReceiver, std::less<>> m_receivers QUOR_GUARDED_BY(m_mutex);
    std::deque<Message> m_queue QUOR_GUARDED_BY(m_mutex);
    const MessageReceiver* m_running QUOR_GUARDED_BY(m_mutex) = nullptr;
    bool m_ending QUOR_GUARDED_BY(m_mutex) = false;
    std::thread m_thread QUOR_GUARDED_BY(m_mutex);
    std::thread::id m_threadId QUOR_GUARDED_BY(m_mutex);  // also while Shutdown joins the thread
};

// Never destroyed: receivers of a program that ends without Shutdown may still run then.
MessageService& MessageService::Get() {
    static MessageService* const service = new MessageService;
    return *service;
}

void MessageService::SetReceiver(const std::string& name, MessageReceiver receiver) {
    SharedReceiver next;
    if (receiver) {
        next = std::make_shared<const MessageReceiver>(std::move(receiver));
    }
    SharedReceiver old;  // released after the lock, because its destructor is the program's code
    MutexLock lock(m_mutex);
    if (const auto found = m_receivers.find(name); found != m_receivers.end()) {
        old = std::move(found->second);
        m_receivers.erase(found);
    }
    if (next != nullptr) {
        m_receivers.emplace(name, std::move(next));
    } else {
        std::erase_if(m_queue, [&name](const Message& message) { return ReceiverName(message) == name; });
    }
    while (old != nullptr && m_running == old.get() && std::this_thread::get_id() != m_threadId) {
        m_finished.Wait(lock);
    }
    lock.Unlock();
}

unsigned int MessageService::Send(const void* message) {
    Message copy;
    std::memcpy(copy.data(), message, copy.size());
    const std::string_view name = ReceiverName(copy);
    const MutexLock lock(m_mutex);
    if (m_receivers.find(name) == m_receivers.end()) {
        return ESRCH;
    }
    if (m_ending) {
        return ECANCELED;
    }
    if (m_queue.size() >= kQueueCapacity) {
        return ENOBUFS;
    }
    if (!m_thread.joinable()) {
        m_thread = internal::StartThread("quor-message", [this] { Run(); });
        m_threadId = m_thread.get_id();
    }
    m_queue.push_back(copy);
    m_wake.NotifyOne();
    return 0;
}

void MessageService::Shutdown() {
    std::thread ending;
    {
        MutexLock lock(m_mutex);
        if (std::this_thread::get_id() == m_threadId) {
            lock.Unlock();
            LogHost(QUOR_OM_LOG_LEVEL_ERROR, "Shutdown was called from a message receiver: messages go on");
            return;
        }
        m_queue.clear();
        if (!m_thread.joinable()) {
            return;
        }
        m_ending = true;
        m_wake.NotifyOne();
        ending = std::move(m_thread);
    }
    ending.join();
    const MutexLock lock(m_mutex);
    m_threadId = std::thread::id();
    m_ending = false;
}

void MessageService::Run() {
    MutexLock lock(m_mutex);
    while (!m_ending) {
        if (m_queue.empty()) {
            m_wake.Wait(lock);
            continue;
        }
        Deliver();
    }
}

// Hands the oldest message to whoever receives under its name now, without the lock.
void MessageService::Deliver() {
    const Message message = m_queue.front();
    m_queue.pop_front();
    const auto found = m_receivers.find(ReceiverName(message));
    if (found == m_receivers.end()) {
        return;
    }
    SharedReceiver receiver = found->second;
    m_running = receiver.get();
    m_mutex.unlock();
    (*receiver)(message.data());
    m_mutex.lock();
    m_running = nullptr;
    m_finished.NotifyAll();
    m_mutex.unlock();
    receiver.reset();  // the program's code again, when the receiver was replaced meanwhile
    m_mutex.lock();
}

void Refuse(int systemError, const char* text) {
    Failure failure;
    failure.stage = systemError == ENOBUFS ? Stage::kQueue : Stage::kSettings;
    failure.systemError = systemError;
    failure.text = text;
    RecordFailure(failure);
}

}  // namespace

void internal::ShutdownMessages() {
    MessageService::Get().Shutdown();
}

void SetMessageReceiver(const std::string& moduleName, MessageReceiver receiver) {
    if (moduleName.empty() || moduleName.size() >= OS_MSG_MODULE_NAME_CAPACITY ||
        moduleName.find('\0') != std::string::npos) {
        Refuse(EINVAL, "a message receiver's name has 1 to 15 characters");
        LogHost(QUOR_OM_LOG_LEVEL_ERROR,
                "no message can name the receiver \"%s\": names have 1 to %u characters", moduleName.c_str(),
                OS_MSG_MODULE_NAME_CAPACITY - 1);
        return;
    }
    MessageService::Get().SetReceiver(moduleName, std::move(receiver));
}

}  // namespace quor_platform

unsigned int OsMsgAsynSend(void* msg) {
    if (msg == nullptr) {
        return EINVAL;
    }
    try {
        const unsigned int result = quor_platform::MessageService::Get().Send(msg);
        if (result != 0) {
            quor_platform::Refuse(static_cast<int>(result),
                                  "message not sent: nobody receives under its name, or the queue is full");
        }
        return result;
    } catch (...) {
        return EAGAIN;  // no thread or no memory
    }
}
