// logger.cpp - targets of log records, over spdlog's sinks. The sinks are the unlocked kind, because m_mutex
// is held whenever one is used.

#include "platform_linux/logger.h"

#include <fcntl.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform_linux/host_state.h"
#include "platform_linux/log_text.h"
#include "platform_linux/platform_thread.h"
#include "quor_platform/log.h"

namespace quor_platform::internal {
namespace {

// How long a record that is no error may stay in the file's buffer.
constexpr std::chrono::seconds kFlushInterval{3};

// "2026-01-31 12:00:00.123 +01:00 error module quor_ai_kel_basic.cpp:120 text"
constexpr char kLinePattern[] = "%Y-%m-%d %H:%M:%S.%e %z %l %v";

spdlog::level::level_enum SpdlogLevel(unsigned int level) {
    switch (level) {
        case QUOR_OM_LOG_LEVEL_ERROR:
            return spdlog::level::err;
        case QUOR_OM_LOG_LEVEL_WARNING:
            return spdlog::level::warn;
        default:
            return spdlog::level::info;
    }
}

bool Refuse(int systemError, const std::string& text) {
    Failure failure;
    failure.stage = Stage::kSettings;
    failure.systemError = systemError;
    failure.text = text;
    RecordFailure(failure);
    return false;
}

// Tells why a file cannot be opened better than the sink does, which tries several times before it gives up.
bool CanAppend(const std::string& path) {
    const int file = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
    if (file < 0) {
        const int error = errno;
        return Refuse(error, "log file " + path + ": " + std::generic_category().message(error));
    }
    ::close(file);
    return true;
}

std::string LineOf(const LogRecord& record) {
    std::string line;
    line.reserve(64 + record.moduleLength + std::strlen(record.text));
    line.append(record.log).append(" ");
    AppendOnOneLine(line, std::string_view(record.module, record.moduleLength));
    line.append(":").append(std::to_string(record.line)).append(" ");
    AppendOnOneLine(line, record.text);
    return line;
}

}  // namespace

constinit std::atomic<unsigned int> wantedLogLevel{0};

// Never destroyed: destructors of the program's statics may still log.
Logger& Logger::Get() {
    static Logger* const logger = new Logger;
    return *logger;
}

bool Logger::Configure(const LogSettings& settings) {
    Sinks sinks;
    try {
        if (!settings.file.empty()) {
            if (!CanAppend(settings.file)) {
                return false;
            }
            sinks.push_back(std::make_shared<spdlog::sinks::rotating_file_sink_st>(
                settings.file, settings.maxFileBytes, settings.maxFiles));
        }
        if (settings.console) {
            sinks.push_back(std::make_shared<spdlog::sinks::stderr_sink_st>());
        }
        for (const auto& sink : sinks) {
            sink->set_pattern(kLinePattern);
        }
    } catch (const std::exception& error) {
        return Refuse(0, "log file " + settings.file + ": " + error.what());
    }
    Flush();
    m_storm.SetRate(settings.stormRecordsPerSecond);
    const MutexLock lock(m_mutex);
    m_sinks.swap(sinks);  // the old file closes, and so is written out, when this function returns
    m_level = settings.level;
    UpdateWantedLevel();
    return true;
}

void Logger::SetLevel(unsigned int level) {
    const MutexLock lock(m_mutex);
    m_level = level;
    UpdateWantedLevel();
}

void Logger::SetListener(LogListener listener) {
    const bool present = static_cast<bool>(listener);
    if (!present) {
        const MutexLock lock(m_mutex);
        m_hasListener = false;
        UpdateWantedLevel();
    }
    m_listener.Set(std::move(listener));
    if (present) {
        const MutexLock lock(m_mutex);
        m_hasListener = true;
        UpdateWantedLevel();
    }
}

void Logger::UpdateWantedLevel() {
    const bool received = m_hasListener || !m_sinks.empty();
    wantedLogLevel.store(received ? std::min(m_level, QUOR_OM_LOG_LEVEL_INFO) : 0, std::memory_order_relaxed);
}

unsigned int Logger::Write(const LogRecord& record) {
    unsigned int result = 0;
    {
        const MutexLock lock(m_mutex);
        if (!m_sinks.empty()) {
            result = WriteToSinks(record);
            if (record.level == QUOR_OM_LOG_LEVEL_ERROR || !FlushLater()) {
                result = FlushSinks() ? result : EIO;
            }
        }
    }
    m_listener.Call(record);
    return result;
}

unsigned int Logger::WriteToSinks(const LogRecord& record) {
    const std::string line = LineOf(record);
    const spdlog::details::log_msg message(spdlog::string_view_t(), SpdlogLevel(record.level), line);
    unsigned int result = 0;
    for (const auto& sink : m_sinks) {
        try {
            sink->log(message);
        } catch (const std::exception&) {
            result = EIO;
        }
    }
    return result;
}

// Leaves what is buffered to the flushing thread. False: there is none and none can be started.
bool Logger::FlushLater() {
    if (m_ending) {
        return false;
    }
    try {
        if (!m_flusher.joinable()) {
            m_flusher = StartThread("quor-log", [this] { RunFlusher(); });
        }
    } catch (const std::exception&) {
        return false;
    }
    if (!m_buffered) {
        m_buffered = true;
        m_wakeFlusher.NotifyOne();
    }
    return true;
}

bool Logger::FlushSinks() {
    bool written = true;
    for (const auto& sink : m_sinks) {
        try {
            sink->flush();
        } catch (const std::exception&) {
            written = false;
        }
    }
    return written;
}

bool Logger::AdmitStorm() {
    if (m_storm.Admit(std::chrono::steady_clock::now())) {
        ReportDropped();
        return true;
    }
    const MutexLock lock(m_mutex);
    FlushLater();  // so that the count is written also when the storm is over
    return false;
}

void Logger::ReportDropped() {
    const unsigned long dropped = m_storm.TakeDropped();
    if (dropped > 0 && wantedLogLevel.load(std::memory_order_relaxed) >= QUOR_OM_LOG_LEVEL_WARNING) {
        const std::string text = std::to_string(dropped) + " storm records dropped";
        constexpr std::string_view kModule = "platform_linux";
        Write(LogRecord{QUOR_OM_LOG_LEVEL_WARNING, "storm", kModule.data(), kModule.size(), __LINE__,
                        text.c_str()});
    }
}

void Logger::Flush() {
    ReportDropped();
    const MutexLock lock(m_mutex);
    FlushSinks();
}

void Logger::Shutdown() {
    std::thread ending;
    {
        const MutexLock lock(m_mutex);
        m_ending = true;
        m_wakeFlusher.NotifyOne();
        ending = std::move(m_flusher);
    }
    if (ending.joinable()) {
        ending.join();
    }
    Flush();
    const MutexLock lock(m_mutex);
    m_ending = false;
}

// Flushes kFlushInterval after the first record that was left in the buffer.
void Logger::RunFlusher() {
    MutexLock lock(m_mutex);
    while (!m_ending) {
        if (!m_buffered) {
            m_wakeFlusher.Wait(lock);
            continue;
        }
        const auto deadline = std::chrono::steady_clock::now() + kFlushInterval;
        while (!m_ending && m_wakeFlusher.WaitUntil(lock, deadline)) {
        }
        m_buffered = false;
        lock.Unlock();
        Flush();
        lock.Lock();
    }
}

void ShutdownLogs() {
    Logger::Get().Shutdown();
}

}  // namespace quor_platform::internal
