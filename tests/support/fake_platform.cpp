#include "support/fake_platform.h"
#include "support/failing_new.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <utility>

#include "support/fake_network.h"

namespace QuorTest {

namespace {

constexpr std::array<const char*, kFnCount> kFnNames = {
    "WsStartUp",   "WsDestroy",   "WsSubscribe",   "WsUnsubscribe", "WsSend",       "LoginInit",
    "LoginToken",  "Decrypt",     "Random",        "Base64Encode",  "Base64Decode", "Base64Free",
    "CreateTimer", "StartTimer",  "StopTimer",     "FreeTimer",     "MsgSend",      "HttpInit",
    "HttpUninit",  "HttpSynSend", "HttpAsynSend",  "HttpRelease",   "CertPath",     "DnsAddress",
    "DnsService",  "Usleep",      "HeapAlloc",     "HeapFree",      "MutexLock",    "MutexUnlock",
    "ModuleLog",   "GeneralLog",  "StormLog",      "LogFileId",     "TraceLevel",   "TraceString",
    "TracePrintf", "SysTime",     "SetThreadName", "MemsetS",       "MemcpyS",      "StrcpyS",
    "StrncpyS",    "SprintfS",    "SnprintfS",     "Strdup",        "CJsonAlloc",   "TimeOfDay",
    "NothrowNew",  "StartThread"};

bool IsNoise(Fn fn) {
    return fn >= Fn::LogFileId;
}

LogLine MakeLine(LogKind kind, unsigned level, const char* module, std::string text) {
    LogLine line;
    line.kind = kind;
    line.level = level;
    line.module = module;
    line.text = std::move(text);
    return line;
}

}  // namespace

const char* FnName(Fn fn) {
    return kFnNames[static_cast<std::size_t>(fn)];
}

std::ostream& operator<<(std::ostream& os, const LogLine& line) {
    static constexpr std::array<const char*, 3> kKinds = {"module", "general", "storm"};
    return os << kKinds[static_cast<std::size_t>(line.kind)] << " level " << line.level << " " << line.module
              << " \"" << line.text << "\"";
}

bool BoundedCall::SourceIs(const char* text) const {
    return src != nullptr && std::strcmp(static_cast<const char*>(src), text) == 0;
}

FakePlatform& Fake() {
    static FakePlatform& platform = *new FakePlatform;  // outlives every static of the library
    return platform;
}

LogLine E(std::string text, const char* module) {
    return MakeLine(LogKind::kModule, 1, module, std::move(text));
}
LogLine W(std::string text, const char* module) {
    return MakeLine(LogKind::kModule, 2, module, std::move(text));
}
LogLine I(std::string text, const char* module) {
    return MakeLine(LogKind::kModule, 3, module, std::move(text));
}
LogLine G(std::string text, const char* module) {
    return MakeLine(LogKind::kGeneral, 3, module, std::move(text));
}

std::vector<std::string> TraceTexts() {
    std::vector<std::string> texts;
    for (const TraceLine& line : Fake().traces) {
        texts.push_back(line.text);
    }
    return texts;
}

void FakePlatform::Reset() {
    const std::lock_guard<std::mutex> guard(mutex);
    for (auto& [address, block] : m_blocks) {
        ::operator delete(address);
    }
    m_blocks.clear();
    m_cjsonBlocks.clear();
    m_strdups.clear();
    m_owners.clear();
    m_calls = {};
    m_faults = {};
    for (Fault& fault : m_faults) {
        fault.result = 7;
    }
    m_trail.clear();
    m_lockFaultHit = false;
    boundedFault = nullptr;
    nowSec = 1000000;
    traceLevel = 0;
    traceString = "AI_TRACE ";
    logFileId = 0x00054321U;
    startUpLinkId = 71;
    confToken = "token-of-the-login-client";
    for (auto& [domain, text] : plainTextByDomain) {
        std::fill(text.begin(), text.end(), '\0');
    }
    plainTextByDomain.clear();
    plainTextHasEnd = true;
    plainResidueOnFailure.clear();
    onStartUp = nullptr;
    onFrame = nullptr;
    onLog = nullptr;
    onStartThread = nullptr;
    wipesDoNothing = false;
    recordLogs = true;
    timers.clear();
    violations.clear();
    Network().Reset();
    DropRecords();
}

// What the records know of secrets is overwritten: a later block at the same place must not seem to hold it.
void FakePlatform::DropRecords() {
    for (WipeRecord& wipe : wipes) {
        std::fill(wipe.before.begin(), wipe.before.end(), '\0');
    }
    for (BlockRecord& block : freedBlocks) {
        std::fill(block.contentAtFree.begin(), block.contentAtFree.end(), '\0');
    }
    for (TagQuorOmNmsWebsocketInfo& info : startUps) {
        std::memset(&info, 0, sizeof(info));
    }
    logs.clear();
    traces.clear();
    frames.clear();
    startUps.clear();
    destroyedLinks.clear();
    messages.clear();
    decrypts.clear();
    tokenCapacities.clear();
    loginCallbacks.clear();
    sleepsUs.clear();
    logFileNames.clear();
    threadNames.clear();
    wipes.clear();
    boundedCalls.clear();
    freedBlocks.clear();
    Network().DropRecords();
}

void FakePlatform::ClearRecords() {
    const std::lock_guard<std::mutex> guard(mutex);
    m_calls = {};
    m_trail.clear();
    DropRecords();
}

void FakePlatform::FailCall(Fn fn, unsigned nth, FailMode mode) {
    const std::lock_guard<std::mutex> guard(mutex);
    Fault& fault = m_faults[Index(fn)];
    fault.remaining = nth;
    fault.mode = mode;
    fault.armed = true;
    fault.hit = false;
}

void FakePlatform::ClearFaults() {
    const std::lock_guard<std::mutex> guard(mutex);
    for (Fault& fault : m_faults) {
        fault.armed = false;
        fault.hit = false;
    }
    boundedFault = nullptr;
}

bool FakePlatform::Fails(Fn fn) {
    Fault& fault = m_faults[Index(fn)];
    if (!fault.armed || fault.remaining == 0) {
        return false;
    }
    if (fault.remaining > 1) {
        --fault.remaining;
        return false;
    }
    fault.hit = true;
    if (fault.mode == FailMode::kOnce) {
        fault.remaining = 0;
    }
    return true;
}

bool FakePlatform::Enter(Fn fn) {
    const NewsSucceed sheltered;
    const std::lock_guard<std::mutex> guard(mutex);
    ++m_calls[Index(fn)];
    if (!IsNoise(fn)) {
        m_trail.push_back({fn, {}});
    }
    return Fails(fn);
}

bool FakePlatform::EnterBounded(const BoundedCall& call) {
    const NewsSucceed sheltered;
    bool fails = Enter(call.fn);
    {
        const std::lock_guard<std::mutex> guard(mutex);
        boundedCalls.push_back(call);
    }
    return (boundedFault && boundedFault(call)) || fails;
}

std::vector<std::string> FakePlatform::Trail(std::initializer_list<Fn> leaveOut) const {
    const std::lock_guard<std::mutex> guard(mutex);
    std::vector<std::string> names;
    for (const TrailEntry& entry : m_trail) {
        if (std::find(leaveOut.begin(), leaveOut.end(), entry.fn) == leaveOut.end()) {
            names.push_back(entry.fn == Fn::kCount ? entry.text : FnName(entry.fn));
        }
    }
    return names;
}

void FakePlatform::Mark(std::string text) {
    const NewsSucceed sheltered;
    const std::lock_guard<std::mutex> guard(mutex);
    m_trail.push_back({Fn::kCount, std::move(text)});
}

void FakePlatform::Violation(std::string text) {
    const NewsSucceed sheltered;
    const std::lock_guard<std::mutex> guard(mutex);
    violations.push_back(std::move(text));
}

}  // namespace QuorTest
