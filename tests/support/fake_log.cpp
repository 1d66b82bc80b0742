// Log records and traces.
#include "quor_platform/log.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "support/failing_new.h"
#include "support/fake_platform.h"

using QuorTest::Fake;
using QuorTest::Fn;
using QuorTest::LogKind;

namespace {

// Texts are built on the heap, never on the stack: tests search stacks for secrets.
std::string Format(const char* format, va_list args) QUOR_PLATFORM_PRINTF(1, 0);
std::string Format(const char* format, va_list args) {
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::string text(length < 0 ? 0 : static_cast<std::size_t>(length) + 1, '\0');
    if (length >= 0) {
        std::vsnprintf(text.data(), text.size(), format, args);
        text.pop_back();
    }
    return text;
}

unsigned Record(Fn fn, LogKind kind, QuorTest::LogLine line, const char* module, const char* format,
                va_list args) QUOR_PLATFORM_PRINTF(5, 0);
unsigned Record(Fn fn, LogKind kind, QuorTest::LogLine line, const char* module, const char* format,
                va_list args) {
    const QuorTest::NewsSucceed sheltered;
    const bool fails = Fake().Enter(fn);
    if (Fake().recordLogs) {
        line.kind = kind;
        line.module.assign(module, line.moduleLen);
        line.text = Format(format, args);
        const std::string text = line.text;
        {
            const std::lock_guard<std::mutex> guard(Fake().mutex);
            Fake().logs.push_back(std::move(line));
        }
        if (Fake().onLog) {
            Fake().onLog(kind, text);
        }
    }
    // The last step of a thread that ends with a line: whoever takes the lock afterwards may change
    // everything.
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    return fails ? Fake().FailResult(fn) : 0;
}

QuorTest::LogLine Head(unsigned level, unsigned short fileId, unsigned moduleLen, unsigned line) {
    QuorTest::LogLine head;
    head.level = level;
    head.fileId = fileId;
    head.moduleLen = moduleLen;
    head.line = line;
    return head;
}

// Takes "prefix[function:line]:text" apart.
QuorTest::TraceLine ParseTrace(const char* format, std::string whole) {
    QuorTest::TraceLine trace;
    trace.format = format;
    const std::string& prefix = Fake().traceString;
    trace.text = whole;
    const std::size_t colon = whole.find(':', prefix.size());
    const std::size_t close = whole.find("]:", prefix.size());
    if (whole.compare(0, prefix.size(), prefix) == 0 && whole.size() > prefix.size() &&
        whole[prefix.size()] == '[' && colon < close && close != std::string::npos) {
        trace.function = whole.substr(prefix.size() + 1, colon - prefix.size() - 1);
        trace.line = static_cast<unsigned>(std::strtoul(whole.c_str() + colon + 1, nullptr, 10));
        trace.text = whole.substr(close + 2);
    }
    trace.whole = std::move(whole);
    return trace;
}

}  // namespace

extern "C" {

unsigned int QuorOmLogModuleLogRecord(unsigned int level, unsigned short fileId, const char* module,
                                      unsigned int moduleLen, unsigned int line, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const unsigned result =
        Record(Fn::ModuleLog, LogKind::kModule, Head(level, fileId, moduleLen, line), module, format, args);
    va_end(args);
    return result;
}

unsigned int QuorOmLogGeneralLogRecord(unsigned int level, unsigned short fileId, const char* module,
                                       unsigned int moduleLen, unsigned int line, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const unsigned result =
        Record(Fn::GeneralLog, LogKind::kGeneral, Head(level, fileId, moduleLen, line), module, format, args);
    va_end(args);
    return result;
}

unsigned int QuorOmLogStormLogRecord(unsigned int level, unsigned short fileId, const char* module,
                                     unsigned int moduleLen, unsigned int line, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const unsigned result =
        Record(Fn::StormLog, LogKind::kStorm, Head(level, fileId, moduleLen, line), module, format, args);
    va_end(args);
    return result;
}

unsigned int QuorAiGetAiLogFileId(const char* logFileName) {
    const QuorTest::NewsSucceed sheltered;
    Fake().Enter(Fn::LogFileId);
    if (Fake().recordLogs) {
        const std::lock_guard<std::mutex> guard(Fake().mutex);
        Fake().logFileNames.emplace_back(logFileName);
    }
    return Fake().logFileId;
}

unsigned char GetGucAITraceLevel(void) {
    Fake().Enter(Fn::TraceLevel);
    return Fake().traceLevel;
}

const char* QuorAiGetTraceString(void) {
    Fake().Enter(Fn::TraceString);
    return Fake().traceString.c_str();
}

void QuorAiTracePrintf(const char* format, ...) {
    const QuorTest::NewsSucceed sheltered;
    Fake().Enter(Fn::TracePrintf);
    va_list args;
    va_start(args, format);
    std::string text = Format(format, args);
    va_end(args);
    const std::lock_guard<std::mutex> guard(Fake().mutex);
    Fake().traces.push_back(ParseTrace(format, std::move(text)));
}

}  // extern "C"
