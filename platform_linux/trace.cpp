// trace.cpp - developer traces: a level that the caller tests, a prefix and one output.

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "platform_linux/listener.h"
#include "platform_linux/log_text.h"
#include "quor_platform/log.h"
#include "quor_platform_linux/host.h"

namespace {

constinit std::atomic<unsigned char> traceLevel{0};

// Never destroyed: destructors of the program's statics may still trace.
quor_platform::internal::Listener<quor_platform::TraceListener>& TraceOutput() {
    static auto* const listener = new quor_platform::internal::Listener<quor_platform::TraceListener>;
    return *listener;
}

}  // namespace

void quor_platform::SetTraceLevel(unsigned char level) {
    traceLevel.store(level, std::memory_order_relaxed);
}

void quor_platform::SetTraceListener(TraceListener listener) {
    TraceOutput().Set(std::move(listener));
}

unsigned char GetGucAITraceLevel() {
    return traceLevel.load(std::memory_order_relaxed);
}

const char* QuorAiGetTraceString() {
    return "QuorAi ";
}

void QuorAiTracePrintf(const char* format, ...) {
    if (format == nullptr) {
        return;
    }
    std::va_list args;
    va_start(args, format);
    try {
        const quor_platform::internal::FormattedText text(format, args);
        if (text.Valid() && !TraceOutput().Call(text.Text())) {
            std::fwrite(text.Text(), 1, text.Length(), stderr);  // one write: stderr has no buffer
        }
    } catch (...) {
        // No memory for the first trace: it is lost, as a trace may be.
        static_cast<void>(format);
    }
    va_end(args);
}
