/*
 * rest.h - the HTTP requests of the simulator's ports: what its conferences and its face gallery hold, what
 * clients asked and reported, and faults for each kind of request. Simulator::rest() gives the one object; it
 * lives as long as the Simulator, and conferences, faults and records survive Stop and Start.
 *
 * Threads. Every function may be called from any thread. Functions named Wait... block up to their timeout
 * and say whether the condition came true.
 */
#ifndef QUOR_SIMULATOR_REST_H
#define QUOR_SIMULATOR_REST_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quor_simulator/face.h"

namespace quor_simulator {

/* The unit of every time in these headers. */
using Milliseconds = std::chrono::milliseconds;
/* Names and values, in their order. */
using HeaderList = std::vector<std::pair<std::string, std::string>>;

/* The kinds of requests; docs/simulator.md has their paths, and EndpointName their names. */
enum class Endpoint {
    kParticipants,   /* who is in the conference, page by page */
    kSignInList,     /* who has checked in to a running conference, or has not, page by page */
    kSignInHistory,  /* the same of a conference that is over */
    kSignInReport,   /* people check in */
    kAccountQuery,   /* have these accounts checked in? */
    kMatchReport,    /* a face belongs to a voice */
    kFaceVersion,    /* is the face service there? */
    kFaceIdentify,   /* whose face is in this picture? */
    kFaceUserPhotos, /* the pictures of these people */
    kFacePhotos,     /* these pictures */
};

/* As commands, scenarios and statistics spell it, for example "participants". */
std::string_view EndpointName(Endpoint endpoint);

/* Where a request came in: Options::port or Options::facePort. */
enum class Port {
    kFirst,  /* Options::port */
    kSecond, /* Options::facePort */
};

/* Somebody, or a room, that is in a conference. */
struct Participant {
    std::string id;   /* no two participants share one */
    std::string name; /* as it is shown */
};

/* How an attendee checked in. */
struct SignIn {
    std::string time;            /* as it is shown; any text */
    std::string type;            /* how it was done; any text */
    std::string participantName; /* the room or device */
};

/* Somebody whom the sign-in lists have. */
struct Attendee {
    std::string name;             /* as it is shown */
    std::string account;          /* names the attendee in reports and queries */
    std::optional<SignIn> signIn; /* nullopt: has not checked in */
};

/* What HTTP requests find of a conference. */
struct Conference {
    std::vector<Participant> participants; /* in the order of the list */
    std::vector<Attendee> attendees; /* those who are expected, and those who checked in without being so */
};

/* Numbered participants "site-1", "Site 1" and as many attendees "Person 1", "account-1", none checked in. */
Conference GenerateConference(std::size_t people);

/* The values as they arrived: all of them are texts. */
struct MatchReport {
    std::string conference;          /* from the path */
    std::string token;               /* of the request */
    std::string site;                /* where the voice was heard */
    std::string start;               /* seconds */
    std::string end;                 /* likewise */
    std::string userId;              /* whose face it is */
    std::string doa;                 /* direction of the voice */
    std::string score;               /* of the match */
    std::string faceId;              /* the number of the face */
    std::array<std::string, 4> rect; /* x, y, w, h */
};

/* A request as it arrived, and what it was answered. */
struct RestRequest {
    std::optional<Endpoint> endpoint; /* nullopt: no such path, or not with that method */
    std::string method;               /* as it was sent */
    std::string target;               /* path and query as they were sent */
    std::string conference;           /* from the path */
    HeaderList headers;               /* names as they were sent */
    std::string body;                 /* as it was sent */
    unsigned int status = 0;          /* of the answer; also when that was cut or never sent */
    bool faulty = false;              /* a fault had its hand in the answer */
    std::uint64_t connection = 0;     /* numbers the connections from 1; the same one: it was kept */
    Port port = Port::kFirst;         /* where it came in */
};

/* Where the connection ends instead of carrying the whole answer. */
enum class Cut {
    kNone,
    kBefore, /* the stream ends without a byte of the answer */
    kHead,   /* in the middle of the answer's head */
    kBody,   /* in the middle of its body; one without a body is cut in its head */
    kReset,  /* TCP reset instead of the answer */
};

/* What stands in the answer's body. */
enum class Content {
    kGood,
    kBadJson,    /* the JSON breaks off in the middle */
    kEmpty,      /* no byte */
    kNotJson,    /* an HTML page */
    kOtherJson,  /* JSON that has nothing to do with the question */
    kWrongTypes, /* the right members; texts are numbers, numbers are texts, flags are null */
};

/*
 * What becomes of requests of one kind. A status of 300 or more refuses the request: nothing is recorded as
 * reported. All other faults touch the answer only: the request has been carried out when it is sent,
 * delayed, held or lost.
 */
struct RestFault {
    std::optional<unsigned int> status;  /* 200 to 599; 204 and 304 have no body, 3xx a Location */
    Milliseconds delay{0};               /* before the answer */
    bool hold = false;                   /* no answer until ReleaseHeld; before any delay */
    Cut cut = Cut::kNone;                /* where the connection ends */
    Content content = Content::kGood;    /* what stands in the body */
    std::vector<std::string> omit;       /* members of these names are missing wherever they occur */
    std::optional<std::size_t> pageSize; /* pages of so many entries, whatever size was asked; at least 1 */
    std::optional<std::string> body; /* exactly these bytes; what else spoils the body counts for nothing */
    std::size_t skip = 0;            /* so many requests stay good first */
    std::size_t times = SIZE_MAX;    /* then so many are faulty; after them the fault is gone */
    std::size_t flap = 0;            /* not 0: after skip, so many good and so many faulty ones in turn */
    std::optional<Port> port;        /* touches and counts the requests on that port only */

    /* ---- the face service's results, whose places count from 1 ---- */
    std::optional<std::size_t> results; /* so many, whatever was asked; made-up ones are "extra-13" */
    /* One for each place, the last for all that follow; without any, nothing is changed. */
    std::vector<double> scores;          /* kFaceIdentify: so many results, unless results says how many */
    std::vector<std::size_t> photoBytes; /* FillerPhoto of this size, also for ids that nobody knows */
    /* data that is no base64 in these places; in all of them when the list is empty. */
    std::optional<std::vector<std::size_t>> badBase64;
    std::vector<std::size_t> failItems; /* these places say that they failed */
};

/* Requests of one kind. */
struct RestCount {
    std::uint64_t requests = 0;     /* all of them */
    std::uint64_t good = 0;         /* answered 2xx as they should be */
    std::uint64_t refused = 0;      /* answered 4xx: token, body, parameters, no such conference */
    std::uint64_t faulty = 0;       /* fell to a fault */
    std::uint64_t tokenRefused = 0; /* of the refused: 401 and 403 */
};

/* Requests since construction. */
struct RestStatistics {
    std::map<std::string, RestCount> endpoints; /* by EndpointName; all of them, also with zeroes */
    std::uint64_t unknown = 0;                  /* 404 and 405: no such path, or not with that method */
    std::uint64_t malformed = 0;                /* no HTTP, or more than the limits allow: 400, 413, 431 */
    std::uint64_t connectionsCut = 0;           /* by a fault */
};

/* The simulator's side of HTTP requests; Simulator::rest hands it out. */
class Rest {
public:
    /* ---- faces: nobody is known before this is called, or Options::galleryDirectory is read ---- */
    /* Replaces the gallery. Throws Error, and then changes nothing, when a picture cannot be read or an id
     * occurs twice. Looks at every picture: takes some milliseconds for each. */
    virtual void SetGallery(Gallery gallery) = 0;

    /* ---- conferences: a request about one that does not exist is answered 404 ---- */
    /* Makes a conference, or replaces what there is of it. */
    virtual void SetConference(const std::string& id, Conference conference) = 0;
    /* A conference that is over; its sign-in lists are asked for with another path. Participants do not
     * count. */
    virtual void SetHistory(const std::string& id, Conference conference) = 0;
    /* As a report of this one attendee does; makes the conference if there is none. */
    virtual void CheckIn(const std::string& conference, const Attendee& attendee) = 0;
    virtual void RemoveConference(const std::string& id) = 0; /* its history too */
    /* As it is now; nullopt: there is none. */
    virtual std::optional<Conference> FindConference(const std::string& id) const = 0;
    /* Likewise of one that is over. */
    virtual std::optional<Conference> FindHistory(const std::string& id) const = 0;

    /* ---- what clients did ---- */
    virtual std::vector<RestRequest> Requests() const = 0; /* newest Options::receivedKept, oldest first */
    virtual std::vector<MatchReport> MatchReports() const = 0; /* likewise */
    /* At least count requests of that kind arrived since construction or ClearRequests. */
    virtual bool WaitForRequests(Endpoint endpoint, std::size_t count, Milliseconds timeout) const = 0;
    virtual void ClearRequests() = 0; /* and match reports; statistics stay */
    /* As they are now. */
    virtual RestStatistics GetStatistics() const = 0;

    /* ---- faults ---- */
    /* Replaces the endpoint's fault: one with RestFault::port that of this port only, which then stands
     * before the one for both. false: the status is outside 200 to 599, nothing is changed. */
    virtual bool SetFault(Endpoint endpoint, RestFault fault) = 0;
    /* Later requests are answered as they should be; nullopt: of every kind. Held ones stay held. */
    virtual void ClearFault(std::optional<Endpoint> endpoint = std::nullopt) = 0;
    /* Answers that are held now go out; returns how many. A client that leaves ends the wait for its own. */
    virtual std::size_t ReleaseHeld(std::optional<Endpoint> endpoint = std::nullopt) = 0;
    /* At least count answers are held at the same moment. */
    virtual bool WaitForHeld(std::size_t count, Milliseconds timeout) const = 0;
    /* No answer is held. */
    virtual bool WaitForNoneHeld(Milliseconds timeout) const = 0;

    /* With the simulator. */
    virtual ~Rest() = default;
    Rest(const Rest&) = delete;
    Rest& operator=(const Rest&) = delete;

protected:
    /* Made by the simulator only. */
    Rest() = default;
};

}  // namespace quor_simulator

#endif
