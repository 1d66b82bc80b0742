/*
 * simulator.h - the conference management server and the face service as a library: one TLS port, or two,
 * that speaks WebSocket and STOMP 1.0 to 1.2 and answers HTTP requests (rest.h), checks credentials and
 * tokens, publishes messages and produces faults on command. Tests start it in-process; the program
 * quor-simulator is a command line around it.
 *
 * Threads. Every member function may be called from any thread. A simulator owns one network thread and,
 * while a scenario plays, one player thread. No callback runs in the caller's code. Functions named Wait...
 * block up to their timeout and say whether the condition came true; Publish may block while a receiver is
 * slow (see there).
 *
 * Errors. Start, SetAnswerFault and the scenario functions throw Error with a text that says what is wrong
 * and where. All other functions report by their result; on a simulator that is not running they do nothing
 * and return zero or false.
 */
#ifndef QUOR_SIMULATOR_SIMULATOR_H
#define QUOR_SIMULATOR_SIMULATOR_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quor_simulator/message_fault.h"
#include "quor_simulator/rest.h"

namespace quor_simulator {

/* Numbers links from 1 upwards over the life of a Simulator object; a restart does not begin again. */
using LinkId = std::uint64_t;

/* What is wrong, and where, in words for people. */
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/* What new connections are shown during the TLS handshake. All but kSelfSigned lead to the simulator's own
 * CA. The good names are localhost, 127.0.0.1, ::1 and Options::serverNames. */
enum class Certificate {
    kGood,          /* the good names, valid now */
    kWrongHost,     /* another host's name */
    kExpired,       /* ended yesterday */
    kNotYetValid,   /* begins tomorrow */
    kSelfSigned,    /* right names, unknown issuer */
    kIncomplete,    /* right names; the issuer between it and the CA is not sent */
    kNamesOnly,     /* of the good names those that are no addresses */
    kAddressesOnly, /* of the good names the addresses */
};

/* How a link is ended. kReset discards what was not sent yet; the others deliver queued frames first. */
enum class Drop {
    kCloseFrame,   /* WebSocket close frame with a code, then TLS and TCP shut down in order */
    kNoCloseFrame, /* the TCP stream ends without close frame and without TLS close_notify */
    kReset,        /* TCP reset */
};

/* What the content-length header of a MESSAGE says. */
enum class ContentLength {
    kBytes,      /* the body's length in bytes, as STOMP wants it */
    kMissing,    /* no such header; the body ends at the frame's NUL */
    kCharacters, /* counted in UTF-8 characters, as some brokers do */
    kWrong,      /* PublishOptions::wrongLength */
};

/* Frames that no STOMP client can use, by what is wrong with them. */
enum class Malformed {
    kNoHeaderEnd,    /* the NUL comes before the empty line */
    kNoColon,        /* a header line without a colon */
    kUnknownCommand, /* a command that STOMP does not know */
    kNoDestination,  /* a MESSAGE without destination */
    kNotStomp,       /* bytes without any structure and without a NUL: the link never recovers */
};

/* The answer to a management link's request: WebSocket texts without STOMP framing, or MESSAGE frames. */
enum class ManagerAnswer {
    kRawText,      /* texts without framing */
    kMessageFrame, /* MESSAGE frames */
};

/* How a simulator is set up. Everything but stateDirectory has a default. */
struct Options {
    std::string address = "127.0.0.1"; /* IP address to listen on */
    std::uint16_t port =
        0; /* 0: any free port; the same one is taken again by a restart of the same object */
    std::vector<std::string> moreAddresses; /* listened on too, with the same port; for example "::1" */

    /* Keeps ca.pem, server.pem and their keys (mode 0600). Made by the first start, reused later, so that
     * clients may go on trusting the CA file. Must not be empty. */
    std::string stateDirectory;
    /* DNS names and IP addresses that the certificates carry besides localhost, 127.0.0.1 and ::1. */
    std::vector<std::string> serverNames;

    std::string userName = "terminal";  /* of the upgrade's Basic credentials */
    std::string password = "quor-demo"; /* likewise */

    /* Tokens that a subscription to /topic/conferences/... or /topic/terminal/... and an HTTP request may
     * carry. Empty: any text that is not empty. */
    std::vector<std::string> tokens;

    /* An upgrade without any Authorization header becomes a management link: it may SEND large-model requests
     * and nothing else. false: such an upgrade is answered 401. */
    bool allowManagerLinks = true;
    ManagerAnswer managerAnswer = ManagerAnswer::kRawText; /* form of answers on such links */

    /* Heart-beat intervals offered in CONNECTED: what this server can send and what it wants to receive.
     * Zero: none. The agreed interval is the larger of the two sides' values. */
    Milliseconds heartBeatSend{10000};
    Milliseconds heartBeatReceive{10000}; /* likewise */

    /* From the accepted TCP connection to the end of the upgrade or of the first HTTP request, and from the
     * upgrade to the CONNECT frame. */
    Milliseconds handshakeTimeout{10000};
    /* From the end of an HTTP answer to the end of the next request on the same connection, and for a client
     * to take an answer. */
    Milliseconds keepAliveTimeout{60000};

    std::size_t linkQueueBytes = 4U << 20;     /* frames waiting for a slow receiver, per link */
    std::size_t maxFrameBytes = 1U << 20;      /* inbound STOMP frame and WebSocket message */
    std::size_t maxLinks = 256;                /* further connections are closed at once, HTTP ones too */
    std::size_t maxRequestBytes = 1U << 20;    /* body of an HTTP request, else it is answered 413 */
    std::size_t maxPictureBytes = 16U << 20;   /* likewise where the body carries a picture */
    std::size_t maxSubscriptionsPerLink = 256; /* further ones are answered with ERROR */
    std::size_t receivedKept = 1000; /* newest SENDs, and newest HTTP requests, that can be shown; all are
                                      * counted */

    /* Every conference that HTTP requests name exists with so many generated people (GenerateConference),
     * unless it was set otherwise. nullopt: only those that were set exist. */
    std::optional<std::size_t> people;

    /* The same services once more on a second port, so that a terminal has two candidates for its face
     * service. 0: any free port, kept like the first one; nullopt: there is none. */
    std::optional<std::uint16_t> facePort;
    std::string faceAccount = "face-service";    /* of the face service's credentials */
    std::string facePassword = "quor-face-demo"; /* likewise */
    std::string galleryDirectory; /* read by the first Start when not empty, as by ReadGallery */

    std::string scenarioFile; /* loaded by Start when not empty, as by LoadScenarioFile */
    std::string scenarioText; /* likewise, as by LoadScenarioText; at most one of both */
    double speed = 1.0;       /* scenario times are divided by it; greater than 0 */
};

/* How a MESSAGE is made and sent. */
struct PublishOptions {
    std::optional<std::string> contentType = "application/json"; /* nullopt: no such header */
    ContentLength contentLength = ContentLength::kBytes;         /* what that header says */
    std::size_t wrongLength = 0;                                 /* for ContentLength::kWrong */

    bool crlf = false;   /* header lines end with CR LF */
    bool binary = false; /* binary instead of text WebSocket messages */
    bool escape = true;  /* header values escaped as the link's STOMP version wants; false: as they are */
    std::size_t messages = 1;  /* the frame is cut into so many WebSocket messages */
    std::size_t fragments = 1; /* and each of them into so many WebSocket fragments */
    std::size_t copies = 1; /* so many copies of the frame, each with its message-id, in the same message */
    std::size_t trailingLineFeeds = 0; /* after the frame's NUL */

    /* The destination that the frame names, if another than the one whose subscribers get it; an empty text
     * leaves the header out. */
    std::optional<std::string> destinationHeader;
    HeaderList extraHeaders; /* after the frame's own */

    std::optional<LinkId> onlyLink; /* nullopt: every subscription, on whatever link */
    Milliseconds timeout{10000};    /* how long to wait for room in each link's queue */
};

/* How raw bytes are sent. */
struct RawOptions {
    bool binary = false;            /* binary instead of text WebSocket messages */
    std::size_t messages = 1;       /* the bytes are cut into so many WebSocket messages */
    std::size_t fragments = 1;      /* and each of them into so many WebSocket fragments */
    std::optional<LinkId> onlyLink; /* nullopt: every link that is LinkInfo::connected */
    Milliseconds timeout{10000};    /* how long to wait for room in each link's queue */
};

/* What a client is subscribed to. */
struct Subscription {
    LinkId link = 0;          /* whose */
    std::string id;           /* the client's own id of it */
    std::string destination;  /* as it was sent */
    std::string token;        /* of its SUBSCRIBE; may be empty */
    std::string conferenceId; /* likewise */
};

/* A link as it is at a moment. */
struct LinkInfo {
    LinkId id = 0;                    /* of this object, never used again */
    std::string peer;                 /* address:port */
    bool manager = false;             /* a management link */
    bool connected = false;           /* CONNECTED was sent; on a management link, which needs none: always */
    bool frozen = false;              /* see Simulator::FreezeLinks */
    std::string stompVersion;         /* "1.0", "1.1" or "1.2"; empty while no CONNECTED was sent */
    Milliseconds heartBeatSend{0};    /* agreed: this server sends at least so often; 0: never */
    Milliseconds heartBeatReceive{0}; /* agreed: the client sends at least so often; 0: not expected */
    std::size_t queuedBytes = 0;      /* waiting to be written */
    std::string uri;                  /* of the terminal, as its latest capability report named it */
};

/* A SEND as it arrived; the headers unescaped, in their order. */
struct ReceivedSend {
    LinkId link = 0;         /* whose */
    std::string destination; /* empty on a management link */
    HeaderList headers;      /* unescaped */
    std::string body;        /* as it was sent */
};

/* Messages of one destination. */
struct DestinationCount {
    std::uint64_t published = 0; /* messages that went to at least one subscription */
    std::uint64_t delivered = 0; /* copies handed to links, one for each subscription */
    std::uint64_t unheard = 0;   /* messages for which nobody was subscribed */
    std::uint64_t received = 0;  /* SENDs from clients */
};

/* What happened since construction. */
struct Statistics {
    std::map<std::string, DestinationCount> destinations; /* by their names */
    std::uint64_t linksAccepted = 0;                      /* WebSocket upgrades answered 101 */
    std::uint64_t linksRefused = 0;     /* upgrades that TLS or HTTP said no to; silent connections too */
    std::uint64_t linksEnded = 0;       /* accepted links that are gone, for whatever reason */
    std::uint64_t linksDropped = 0;     /* of these: by DropLinks or a scenario's fault */
    std::uint64_t silentLinksEnded = 0; /* of these: missing heart-beats */
    std::uint64_t framesIn = 0;         /* STOMP frames, heart-beats not counted */
    std::uint64_t framesOut = 0;        /* likewise */
    std::uint64_t heartBeatsIn = 0;     /* from clients */
    std::uint64_t heartBeatsOut = 0;    /* to clients */
    std::uint64_t protocolErrors = 0;   /* ERROR frames sent because of what a client did */
    std::uint64_t queueOverflows = 0;   /* copies given up after PublishOptions::timeout */
    std::uint64_t sendsReceived = 0;    /* SENDs of clients */
    std::uint64_t upgrades401 = 0;      /* of linksRefused: wrong or missing credentials */
    std::map<std::string, std::uint64_t> lastErrors; /* text of an ERROR's message header -> how often */
};

/* How far a scenario came. */
struct ScenarioResult {
    bool finished = false;               /* false: stopped early or still playing */
    std::uint64_t actionsPlayed = 0;     /* messages and faults; an utterance is several messages */
    std::uint64_t messagesPublished = 0; /* sent to at least one subscription */
    std::uint64_t messagesUnheard = 0;   /* nobody was subscribed */
    std::uint64_t linkDrops = 0;         /* drop steps played */
};

/* The server. The head of this file has its threads and errors. */
class Simulator {
public:
    /* Starts nothing and reads nothing. */
    explicit Simulator(Options options);
    ~Simulator(); /* stops */
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    /* Makes missing certificates, loads the scenario of the options and listens. Throws Error. After Stop it
     * may be called again and takes the same port. Subscriptions do not survive a restart, statistics do. */
    void Start();
    /* Ends all links as Drop::kNoCloseFrame with what is still queued discarded, frees the port, joins the
     * threads. Idempotent. */
    void Stop();
    /* Between Start and Stop. */
    bool running() const;
    std::uint16_t port() const;     /* Options::port before the first Start, the port taken after it */
    std::uint16_t facePort() const; /* likewise of Options::facePort; 0: there is none */
    std::string caFile() const;     /* what clients have to trust */

    /* ---- publishing ---- */

    /*
     * A MESSAGE for every subscription of destination (exact text), in subscription order. Each copy waits
     * for room in its link's queue, at most options.timeout, and is given up after that; a link that ends
     * meanwhile counts as not reached. Calls from one thread reach each link in their order. Returns the
     * number of subscriptions that it went to. */
    std::size_t Publish(std::string_view destination, std::string_view body,
                        const PublishOptions& options = {});
    /* bytes as a WebSocket message, without any STOMP framing by the simulator. Returns the number of links.
     */
    std::size_t PublishRaw(std::string_view bytes, const RawOptions& options = {});
    /* PublishRaw of a malformed frame. */
    std::size_t PublishMalformed(Malformed form);
    /* Waits until every queue is empty, i.e. all frames are with the operating system. Frozen links are not
     * waited for. */
    bool Flush(Milliseconds timeout);

    /* ---- what clients did ---------------------------------------------------------------------------------
     */
    /* As they are now, in the order in which they were made. */
    std::vector<Subscription> Subscriptions() const;
    /* Somebody is subscribed to destination. */
    bool WaitForSubscription(std::string_view destination, Milliseconds timeout) const;
    /* Exactly count subscriptions exist at the same moment. */
    bool WaitForSubscriptionCount(std::size_t count, Milliseconds timeout) const;
    /* At least count. */
    bool WaitForSubscribers(std::size_t count, Milliseconds timeout) const;
    /* As they are now. */
    std::vector<LinkInfo> Links() const;
    /* Exactly count links that are LinkInfo::connected. */
    bool WaitForLinkCount(std::size_t count, Milliseconds timeout) const;
    std::vector<ReceivedSend> Received() const; /* the newest Options::receivedKept, oldest first */
    /* At least count SENDs arrived at destination since construction or ClearReceived. */
    bool WaitForReceived(std::string_view destination, std::size_t count, Milliseconds timeout) const;
    /* Forgets the SENDs; statistics stay. */
    void ClearReceived();
    /* As they are now. */
    Statistics GetStatistics() const;

    /* HTTP requests: conferences, faces, records, faults (rest.h). Lives as long as this object. */
    Rest& rest();

    /* ---- faults -------------------------------------------------------------------------------------------
     */
    /* Ends all links (or one) that exist now; returns how many. code and reason are for Drop::kCloseFrame. */
    std::size_t DropLinks(Drop how = Drop::kCloseFrame, std::uint16_t code = 1001,
                          std::string_view reason = "going away",
                          std::optional<LinkId> onlyLink = std::nullopt);
    /* Every accepted link is gone, TCP connection included. */
    bool WaitForNoLinks(Milliseconds timeout) const;
    /* true: the links that exist now keep their TCP connection and neither read nor write from here on
     * (half-open). false: all frozen links go on where they stopped. Links made later are not frozen. */
    std::size_t FreezeLinks(bool freeze);
    /* New upgrades are answered with this HTTP status, 0 ends it; times: so many upgrades only. */
    void RefuseUpgrades(unsigned int httpStatus, std::size_t times = SIZE_MAX);
    /* New CONNECT frames are answered with an ERROR frame with this message header; empty ends it. */
    void RefuseConnect(std::string_view message, std::size_t times = SIZE_MAX);
    /* For new connections. */
    void UseCertificate(Certificate kind);
    /* true: promised heart-beats are not sent. */
    void MuteHeartBeats(bool mute);
    /* Every link writes at most so many bytes a second, 0: no limit. */
    void SlowSending(std::size_t bytesPerSecond);
    /* Replaces Options::tokens for later subscriptions and HTTP requests. revoke: subscriptions whose token
     * is no longer accepted get an ERROR "token refused" and their link ends. */
    void SetTokens(std::vector<std::string> tokens, bool revoke = false);
    /* Replaces Options::userName and password for later upgrades. */
    void SetCredentials(std::string userName, std::string password);
    /* true: SUBSCRIBE, UNSUBSCRIBE and DISCONNECT with a receipt header get no RECEIPT. */
    void WithholdReceipts(bool withhold);
    /* For the answers to SENDs that arrive from now on. Replaces the fault of that kind; survives Stop and
     * Start. Throws Error, and changes nothing, if the answers of that kind have no such member or no
     * terminal or number to change. */
    void SetAnswerFault(AnswerKind kind, AnswerFault fault);
    /* Later answers are as they should be; nullopt: of every kind. Held pieces stay held. */
    void ClearAnswerFault(std::optional<AnswerKind> kind = std::nullopt);
    /* Pieces that are held now go out; returns how many. */
    std::size_t ReleaseAnswers(std::optional<AnswerKind> kind = std::nullopt);
    /* At least count pieces are held at the same moment; what came before each has been sent. */
    bool WaitForHeldAnswers(std::size_t count, Milliseconds timeout) const;

    /* ---- scenarios (the format is in docs/simulator.md)
     * ----------------------------------------------------- */
    /* Loads a scenario; throws Error, which names file, place and reason. */
    void LoadScenarioFile(const std::string& path);
    /* The same from a text; name stands for the file in errors. */
    void LoadScenarioText(std::string_view text, const std::string& name = "text");
    /* Starts playing the loaded scenario; throws Error if there is none or one is playing. */
    void PlayScenario();
    /* It was played to its end, or stopped, or none was started. */
    bool WaitScenarioEnd(Milliseconds timeout) const;
    /* Returns when no step runs any more. */
    void StopScenario();
    /* As it is now. */
    ScenarioResult GetScenarioResult() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace quor_simulator

#endif
