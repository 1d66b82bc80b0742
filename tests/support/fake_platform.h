// fake_platform.h - a platform for unit tests: every function of platform/quor_platform/, recorded and
// breakable.
//
// One process-wide object, Fake(). It writes down every call with its arguments, owns the clock and the
// timers, checks locks and the accounted heap, and makes chosen calls fail. Reset() before each test.
//
// Threads: the platform functions may run on any thread. What tests set and read (the public members) is
// theirs while no other thread uses the platform. Hooks run without the fake's own lock, so they may call the
// library.
#ifndef TESTS_SUPPORT_FAKE_PLATFORM_H
#define TESTS_SUPPORT_FAKE_PLATFORM_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "quor_platform/os.h"
#include "quor_platform/websocket.h"

namespace QuorTest {

// Everything that can be counted and made to fail. Below kNoise... stand the calls that Trail() leaves out.
enum class Fn : unsigned {
    WsStartUp,
    WsDestroy,
    WsSubscribe,
    WsUnsubscribe,
    WsSend,
    LoginInit,
    LoginToken,
    Decrypt,
    Random,
    Base64Encode,
    Base64Decode,
    Base64Free,
    CreateTimer,
    StartTimer,
    StopTimer,
    FreeTimer,
    MsgSend,
    HttpInit,
    HttpUninit,
    HttpSynSend,
    HttpAsynSend,
    HttpRelease,
    CertPath,
    DnsAddress,
    DnsService,
    Usleep,
    HeapAlloc,
    HeapFree,
    MutexLock,
    MutexUnlock,
    ModuleLog,
    GeneralLog,
    StormLog,
    // Noise: too frequent to be part of an order of events.
    LogFileId,
    TraceLevel,
    TraceString,
    TracePrintf,
    SysTime,
    SetThreadName,
    MemsetS,
    MemcpyS,
    StrcpyS,
    StrncpyS,
    SprintfS,
    SnprintfS,
    Strdup,
    CJsonAlloc,
    TimeOfDay,    // gettimeofday
    NothrowNew,   // operator new and new[] with std::nothrow, of the library and of the tests themselves
    StartThread,  // std::thread's; a failing one throws std::system_error
    kCount
};
inline constexpr std::size_t kFnCount = static_cast<std::size_t>(Fn::kCount);

const char* FnName(Fn fn);

enum class FailMode { kOnce, kFromThenOn };

enum class LogKind { kModule, kGeneral, kStorm };

// One log record. Equality looks at kind, level, module and text: what a test states.
struct LogLine {
    LogKind kind = LogKind::kModule;
    unsigned level = 0;
    std::string module;
    std::string text;
    // Checked for every line by CheckLogArguments.
    unsigned short fileId = 0;
    unsigned moduleLen = 0;
    unsigned line = 0;
    bool operator==(const LogLine& o) const {
        return kind == o.kind && level == o.level && module == o.module && text == o.text;
    }
};
std::ostream& operator<<(std::ostream& os, const LogLine& line);

// One call of QuorAiTracePrintf.
struct TraceLine {
    std::string format;  // what was given as format: "%s" for every trace, or the error text itself
    std::string whole;   // the text printed
    std::string function;
    unsigned line = 0;
    std::string text;  // what follows "[function:line]:", or whole when there is no such prefix
};

struct FrameCall {
    Fn fn = Fn::WsSend;
    TagQuorOmNmsWebsocketStompFrame frame;
};

struct BlockRecord {
    void* address = nullptr;
    unsigned sizeBytes = 0;
    unsigned char fill = 0;
    unsigned line = 0;
    std::string module;
    std::string contentAtFree;  // freed blocks only, of up to 100,000 bytes
    unsigned freeLine = 0;
    std::string freeModule;
};

struct TimerRecord {
    OsRelTimerCallback callback = nullptr;
    void* arg = nullptr;
    unsigned line = 0;
    std::string file;
    bool running = false;
    bool freed = false;
    unsigned periodMs = 0;
    unsigned mode = 99;
};

// What a bounded function was asked to do. For the formatters src is the format.
struct BoundedCall {
    Fn fn = Fn::MemsetS;
    void* dest = nullptr;
    std::size_t destMax = 0;
    const void* src = nullptr;
    std::size_t count = 0;
    // Whether the text source equals text (copies of strings only).
    bool SourceIs(const char* text) const;
};

// A memset_s to zero over bytes that were not all zero, with the bytes as they were.
struct WipeRecord {
    std::size_t sizeBytes = 0;
    std::string before;
};

struct DecryptCall {
    std::string domain;
    std::string cipherText;
    unsigned plainLenOnEntry = 0;
    bool plainZeroOnEntry = false;
};

class FakePlatform {
public:
    // Forgets everything: records, faults, settings, hooks. Live heap blocks are released, so that one
    // leaking test does not spoil the next; what leaked is what Violations() said before.
    void Reset();

    // ---- Failing calls ----

    // Makes the nth call of fn from now on fail (1 = the next).
    void FailCall(Fn fn, unsigned nth, FailMode mode = FailMode::kOnce);
    void ClearFaults();
    // Whether a fault of FailCall was hit since it was set.
    bool FaultHit(Fn fn) const { return m_faults[Index(fn)].hit; }
    // The result that a failing call of fn returns, where the function has one to choose.
    void SetFailResult(Fn fn, unsigned result) { m_faults[Index(fn)].result = result; }
    // Makes bounded calls fail by what they do; true means fail.
    std::function<bool(const BoundedCall&)> boundedFault;

    // ---- Behaviour to set ----

    unsigned nowSec = 1000000;
    unsigned char traceLevel = 0;
    std::string traceString = "AI_TRACE ";
    unsigned logFileId = 0x00054321U;  // wider than 16 bits: the library must cut it
    unsigned startUpLinkId = 71;
    std::string confToken = "token-of-the-login-client";
    std::map<std::string, std::string> plainTextByDomain;  // a domain that is missing does not decrypt
    bool plainTextHasEnd = true;                           // off: what decrypts comes without a terminator
    std::string plainResidueOnFailure;                     // what a failing decryption leaves behind
    std::function<void(const TagQuorOmNmsWebsocketInfo&)> onStartUp;
    std::function<void(const FrameCall&)> onFrame;
    std::function<void(LogKind, const std::string&)> onLog;
    std::function<void()> onStartThread;  // before a std::thread starts; not of one that fails
    bool wipesDoNothing = false;  // memset_s succeeds without writing: to see that a missing wipe is noticed
    bool recordLogs = true;       // off: log calls cost next to nothing (fuzzing)

    // ---- What happened ----

    std::vector<LogLine> logs;
    std::vector<TraceLine> traces;
    std::vector<FrameCall> frames;
    std::vector<TagQuorOmNmsWebsocketInfo> startUps;
    std::vector<unsigned> destroyedLinks;
    std::vector<std::string> messages;  // OsMsgAsynSend, whole
    std::vector<DecryptCall> decrypts;
    std::vector<unsigned> tokenCapacities;
    std::vector<void (*)(unsigned, void*)> loginCallbacks;
    std::vector<unsigned> sleepsUs;
    std::vector<std::string> logFileNames;
    std::vector<std::string> threadNames;
    std::vector<WipeRecord> wipes;
    std::vector<BoundedCall> boundedCalls;
    std::vector<BlockRecord> freedBlocks;
    std::map<OsRelTimer, TimerRecord> timers;

    unsigned CountOf(Fn fn) const { return m_calls[Index(fn)]; }
    // Names of the calls in order, noise and the names given left out; tests add their own with Mark.
    std::vector<std::string> Trail(std::initializer_list<Fn> leaveOut = {}) const;
    void Mark(std::string text);
    void ClearRecords();  // keeps settings, faults, live blocks, timers and locks
    std::vector<BlockRecord> LiveBlocks() const;
    std::size_t LiveCJsonBlocks() const;
    std::size_t LiveStrdups() const;
    bool IsLocked(const OsMutex* m) const;
    std::size_t LocksHeld() const;
    void FireTimer(OsRelTimer t);
    // Misuse that was noticed: double locks, unknown handles, unknown blocks. Empty is good.
    std::vector<std::string> violations;

    // ---- For the implementations of the functions ----

    // Counts and records a call; true when it must fail.
    bool Enter(Fn fn);
    unsigned FailResult(Fn fn) const { return m_faults[Index(fn)].result; }
    bool EnterBounded(const BoundedCall& call);
    void* Allocate(unsigned size, unsigned char fill, unsigned line, const char* module);
    void Release(void* p, unsigned line, const char* module);
    void* CJsonAllocate(std::size_t size);
    void CJsonRelease(void* p);
    char* DuplicateText(const char* text);
    void ForgetText(const void* p);
    unsigned Lock(OsMutex* m);
    unsigned Unlock(OsMutex* m);
    void Violation(std::string text);

    mutable std::mutex mutex;  // guards everything here while platform functions run

private:
    struct Fault {
        unsigned remaining = 0;  // 0: none
        FailMode mode = FailMode::kOnce;
        bool armed = false;
        bool hit = false;
        unsigned result = 0;
    };
    struct TrailEntry {
        Fn fn = Fn::kCount;  // kCount: a mark
        std::string text;
    };

    static std::size_t Index(Fn fn) { return static_cast<std::size_t>(fn); }
    bool Fails(Fn fn);
    void DropRecords();  // the caller holds the mutex

    std::array<unsigned, kFnCount> m_calls{};
    std::array<Fault, kFnCount> m_faults{};
    std::vector<TrailEntry> m_trail;
    std::map<void*, BlockRecord> m_blocks;
    std::map<void*, std::size_t> m_cjsonBlocks;
    std::map<const void*, std::size_t> m_strdups;
    std::map<const OsMutex*, std::thread::id> m_owners;
    bool m_lockFaultHit = false;
};

FakePlatform& Fake();

// Lines as tests write them down: error, warning and info of the module log, and the general log.
inline constexpr const char* kKelModule = "quor_ai_kel_basic.cpp";
inline constexpr const char* kCommonModule = "quor_ai_cloud_common.cpp";
LogLine E(std::string text, const char* module = kKelModule);
LogLine W(std::string text, const char* module = kKelModule);
LogLine I(std::string text, const char* module = kKelModule);
LogLine G(std::string text, const char* module = kKelModule);

// The texts of the traces, without prefix, function and line.
std::vector<std::string> TraceTexts();

// Routes cJSON's memory through the fake: counted, breakable (Fn::CJsonAlloc), leaks visible.
void InstallCJsonHooks();

}  // namespace QuorTest

#endif
