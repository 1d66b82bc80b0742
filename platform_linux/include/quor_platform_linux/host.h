// host.h - what a program tells the Linux platform, and what it can ask it.
//
// The interfaces of quor_platform/ take nothing from their surroundings by themselves: no environment
// variable, no configuration file. A program that runs the library on Linux sets everything here, before it
// uses the library or, where a function says so, at any time. Everything has a default, given beside it.
//
// Threads: every function is callable from any thread. Settings are copied. None of the functions calls back
// into the program while it holds a lock.
#ifndef QUOR_PLATFORM_LINUX_HOST_H
#define QUOR_PLATFORM_LINUX_HOST_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#pragma GCC visibility push(default)

namespace quor_platform {

// ---- Links ----

// Receives the events of all links on the platform's one callback thread. The signature is that of
// QuorAiEngine::AiKelBasic::KelBasicDisposeMsg, so that a program can hand that function in as it is.
// It may call every function of quor_platform/websocket.h. It must not throw.
using LinkEventSink =
    std::function<void(unsigned int event, unsigned int linkId, unsigned int linkType, void* data)>;

// Default: none; events are dropped. Takes effect for the next event; returns after a running event on
// another thread has ended, so that what the old sink used may be released then. An empty sink removes it.
void SetLinkEventSink(LinkEventSink sink);

// Limits of links. All have a default.
struct LinkSettings {
    std::chrono::milliseconds connectTimeout{10000};    // name resolution and TCP, each
    std::chrono::milliseconds handshakeTimeout{10000};  // TLS, WebSocket upgrade and STOMP CONNECT together
    std::chrono::milliseconds closeTimeout{2000};  // DISCONNECT, its receipt and the WebSocket close together
    std::chrono::milliseconds heartBeatSend{10000};  // how often this side offers to beat, 0: never
    // How often the server is asked to beat, 0: never. A link whose server is silent for twice the agreed
    // interval is dead.
    std::chrono::milliseconds heartBeatReceive{10000};
    // A WebSocket ping goes out on a link that was silent for this long; no answer within as long again:
    // dead.
    std::chrono::milliseconds pingInterval{15000};
    std::size_t maxFrameBytes = 8U << 20U;      // a longer STOMP frame ends the link
    std::size_t maxSendQueueBytes = 4U << 20U;  // frames waiting to be written; beyond it sends are refused
    std::size_t maxReceiveQueueBytes = 16U << 20U;  // frames waiting for the sink; beyond it reading pauses
    // A MESSAGE without content-type is handed up with "content-type:application/json".
    bool addMissingContentType = true;
};

// Applies to links started from now on. Settings that make no sense let every start fail, with the reason in
// LastFailure.
void SetLinkSettings(const LinkSettings& settings);
// As they are now.
LinkSettings GetLinkSettings();

// What a link carried so far.
struct LinkStatistics {
    std::uint64_t framesSent = 0;          // STOMP frames written, heart-beats not counted
    std::uint64_t messagesReceived = 0;    // MESSAGE frames handed to the sink
    std::uint64_t bytesSent = 0;           // payload of WebSocket messages
    std::uint64_t bytesReceived = 0;       // likewise
    std::uint64_t heartBeatsReceived = 0;  // of the server
    std::uint32_t subscriptions = 0;       // destinations subscribed now
};

// All zero for an unknown link, also one that was destroyed.
LinkStatistics GetLinkStatistics(unsigned int linkId);

// ---- TLS ----

// Whom connections trust.
struct TlsSettings {
    // Trusted certificates: a PEM file, or a directory as c_rehash makes it. Exactly what is set is trusted
    // and nothing besides. A file or directory that is missing, empty or unreadable refuses every connection.
    std::string caFile = "/etc/ssl/certs/ca-certificates.crt";
    std::string caDirectory;  // used instead of caFile when not empty
    // Laboratory only: links accept any certificate. Off by default; every link that uses it logs an error
    // record. HTTPS requests verify their servers whatever stands here.
    bool insecureSkipVerification = false;
};

// Applies to connections made from now on; files are read at each connection, so a replaced file takes
// effect. QuorOmCertGetCertPath hands caDirectory, or caFile where that is empty, to whoever sends HTTPS
// requests.
void SetTlsSettings(const TlsSettings& settings);
// As they are now.
TlsSettings GetTlsSettings();

// ---- HTTPS requests ----

// Limits of HTTPS requests. All have a default. The time limits are for requests that say 0.
struct HttpSettings {
    std::chrono::milliseconds connectTimeout{10000};  // name resolution, TCP and TLS together
    std::chrono::milliseconds totalTimeout{60000};    // the whole request
    // A longer answer ends the request with HTTP_ERRORCODE_ANSWER. At most 1 GiB.
    std::size_t maxAnswerBytes = 32U << 20U;
    // Connections that blocking requests keep for the next ones; beyond it they are closed after use.
    std::size_t maxIdleConnections = 16;
};

// Applies to requests sent from now on. Values that make no sense count as the default.
void SetHttpSettings(const HttpSettings& settings);
// As they are now.
HttpSettings GetHttpSettings();

// ---- Name resolution of HTTPS requests ----

// Whom look-ups ask, and how long.
struct DnsSettings {
    // "address" or "address:port", asked in this order: 192.0.2.1, 192.0.2.1:5353, [2001:db8::1]:53. Empty:
    // the system's servers.
    std::vector<std::string> servers;
    std::chrono::milliseconds attemptTimeout{2000};  // of the first attempt; later ones wait longer
    unsigned int attempts = 2;                       // for each server
    std::chrono::milliseconds totalTimeout{8000};    // of one look-up with everything it needs
};

// Applies to look-ups from now on, and forgets the addresses given so far. Values that make no sense count as
// the default; a server that is no address fails every look-up.
//
// The platform remembers which name it gave an address for (256 addresses, for a day). An HTTPS request to
// such an address names that name to the server and verifies it in the server's certificate. After a service
// look-up it is the name that was asked for, never the target, which an unprotected answer chose. A request
// to any other address needs a certificate for the address.
void SetDnsSettings(const DnsSettings& settings);
// As they are now.
DnsSettings GetDnsSettings();

// ---- Abort switch ----

// Ends all HTTPS requests and name look-ups under way at once and makes new ones fail at once, both with
// HTTP_ERRORCODE_CANCELLED (look-ups: their own failure), until AllowRequests. For a program that has to stop
// within a second on a dead network. Does not wait for the ended requests' callbacks; links are not touched.
void AbortRequests();
// Ends what AbortRequests began; requests work again at once.
void AllowRequests();

// ---- Timers ----

// Periods of relative timers started from now on are multiplied by factor, so that a test or a demonstration
// sees in a second what a product does in half a minute. Default 1. False, and nothing changes: factor is not
// between 1e-6 and 1e6. No period gets shorter than a millisecond. The clocks go on as they are: whoever
// compares wall-clock times with a timer's period, as the face-server detection does, sees the difference.
bool SetTimerScale(double factor);

// ---- Reasons of failures ----

// The step at which something failed.
enum class Stage {
    kNone,      // nothing failed
    kSettings,  // a setting or an argument is unusable
    kResolve,   // name resolution
    kConnect,   // TCP
    kTls,       // TLS handshake, including certificate and name verification
    kUpgrade,   // HTTP upgrade to WebSocket
    kStomp,     // STOMP CONNECT, an ERROR frame, a malformed frame
    kTransfer,  // an established link broke or was closed by the server
    kLiveness,  // an established link went silent
    kQueue,     // the send queue is full
    kKey,       // key file or sealed text
    kToken,     // token source
    kAnswer,    // an HTTPS request: no answer, a broken or oversize one, or a status from 400 upwards
    kAborted,   // AbortRequests, quor_http_uninit or Shutdown ended it
};

// The word for a stage, for messages: "tls", "upgrade", ... Static text.
const char* StageName(Stage stage);

// Why something failed: for messages and for decisions.
struct Failure {
    Stage stage = Stage::kNone;  // where
    int systemError = 0;         // errno, or 0
    unsigned long tlsError = 0;  // OpenSSL error code, or 0
    long certificateError = 0;   // X509_V_ERR_..., or 0
    int httpStatus = 0;          // status of a refused upgrade or of an HTTPS answer, or 0
    int closeCode = 0;           // WebSocket close code (RFC 6455 section 7.4), or 0
    std::string text;            // one line for people; never holds a secret
};

// Why the last StartUp on the calling thread failed, or the last other call of the platform that failed on
// it.
Failure LastFailure();

// Why a link ended or refused; Stage::kNone for a live or unknown link.
Failure LinkFailure(unsigned int linkId);

// Why an asynchronous request failed; Stage::kNone for one that was answered with a status below 400, is
// under way, unknown or released. Inside its callback LastFailure tells the same. After a blocking request,
// LastFailure describes that request; for an answered one it has Stage::kNone, or kAnswer and the status from
// 400 upwards, although the request's own result is 0.
Failure HttpFailure(unsigned long handle);

// ---- Login ----

// Called for every fetch of the conference token. Returns 0 and the token, or an error code. Must not throw.
using TokenSource = std::function<int(std::string& token)>;

// Default: none; then every fetch fails. Tells the callbacks of QuorLoginInitialize: event 1 for a source, 0
// for none; data is null.
void SetTokenSource(TokenSource source);

// ---- Keys ----

// The file that holds the master key: 32 random bytes, readable by its owner only. Default: none; then
// nothing opens. The file is read at each use.
void SetKeyFile(const std::string& path);

// Makes a new key file with mode 0600. False: it exists already or cannot be written; see LastFailure.
bool CreateKeyFile(const std::string& path);

// The longest secret that SealSecret takes, in bytes. Its sealed text has 623 characters, which is what a
// field of 624 holds, such as the login record's password.
constexpr std::size_t kMaxSecretBytes = 437;

// Seals a secret for a key domain ("QuorUIConf", "QuorUILogin"): the text that QuorOmKeymDecrypt opens for
// the same domain. AES-256-GCM; the domain's name is authenticated. A secret is a text: 1 to kMaxSecretBytes
// bytes without a NUL. Empty: failed; see LastFailure.
std::string SealSecret(const std::string& domain, const std::string& plainText);

// ---- Messages between modules ----

// Receives the OS messages (OS_MSG_SIZE bytes, valid during the call) that OsMsgAsynSend sends to one module
// name. Runs on the platform's message thread. It must not throw.
using MessageReceiver = std::function<void(const unsigned char* message)>;

// One receiver per name of 1 to 15 bytes; up to 1024 messages wait, further ones are refused to their
// senders. An empty receiver removes the one of that name, drops what waits for it and waits for a running
// call on another thread to end.
void SetMessageReceiver(const std::string& moduleName, MessageReceiver receiver);

// ---- Logs and traces ----

// Where log records go, and which.
struct LogSettings {
    std::string file;                         // rotating log file; empty: none
    std::size_t maxFileBytes = 10U << 20U;    // the file is rotated at this size
    std::size_t maxFiles = 5;                 // rotated files that are kept
    bool console = false;                     // records also go to standard error
    unsigned int level = 3;                   // 0 off, 1 errors, 2 and warnings, 3 and information
    unsigned int stormRecordsPerSecond = 10;  // the others are counted; 0 writes none of them
};

// Default: no file, no console. Replaces the targets at once. False: the file cannot be opened; the old
// targets stay.
bool SetLogSettings(const LogSettings& settings);

// Changes LogSettings::level while running.
void SetLogLevel(unsigned int level);
// Changes the level from 0 (off, the default) to 255 up to which developer traces are written.
void SetTraceLevel(unsigned char level);

// A log record as a listener gets it. Everything is valid during the call only.
struct LogRecord {
    unsigned int level = 0;        // 1 error, 2 warning, 3 information
    const char* log = "";          // "module", "general" or "storm"
    const char* module = "";       // name of the source module; not terminated beyond moduleLength
    std::size_t moduleLength = 0;  // bytes of module
    unsigned int line = 0;         // of the source
    const char* text = "";         // NUL-terminated
};
// Receives log records.
using LogListener = std::function<void(const LogRecord& record)>;
// Receives traces, each a NUL-terminated text that is valid during the call.
using TraceListener = std::function<void(const char* text)>;

// Receives every record that passes the level, besides the targets. It runs on the thread that logs, one call
// at a time; it must not log and must not throw. An empty one removes it. Default: none.
void SetLogListener(LogListener listener);
// Receives every trace, likewise. Default: none; traces go to standard error then, and only then.
void SetTraceListener(TraceListener listener);

// Writes out what the log file still buffers.
void FlushLogs();

// ---- Accounted heap ----

// One place of allocation on the accounted heap.
struct HeapEntry {
    std::string module;          // name that the caller gave
    unsigned int line = 0;       // of its source
    std::size_t liveBlocks = 0;  // allocated there and not given back
    std::size_t liveBytes = 0;   // theirs, as they were asked for
};

// Live blocks by place of allocation, largest first.
std::vector<HeapEntry> HeapReport();
// Live bytes of all places together.
std::size_t HeapLiveBytes();

// ---- End ----

// Ends all links, HTTPS requests, timers and message deliveries, waits for running callbacks and joins the
// platform's threads. For the end of a program and for tests; not from a callback. The platform works again
// afterwards, on new threads.
void Shutdown();

}  // namespace quor_platform

#pragma GCC visibility pop

#endif
