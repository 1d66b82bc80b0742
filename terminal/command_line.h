// command_line.h - what the user asked for, checked.
//
// The subcommands stand in one table in command_line.cpp; each row is a Subcommand (subcommand.h) that the
// file with its options defines. A new subcommand is such a file, a record here, a row there, and the
// operation that runs it.
#ifndef QUOR_TERMINAL_COMMAND_LINE_H
#define QUOR_TERMINAL_COMMAND_LINE_H

#include <chrono>
#include <string>
#include <vector>

namespace quor_terminal {

struct ServerAddress {
    std::string host;  // a name or an address; an IPv6 address without its brackets
    unsigned int port = 0;
};

// "host:port" or "[address]:port". False: message says what is wrong.
bool ParseServerAddress(const std::string& text, ServerAddress& address, std::string& message);

// Where to, as whom, and how long to try: the same for every subcommand that opens a link.
struct ConnectionOptions {
    std::string serverText;
    ServerAddress server;
    std::string conference;
    std::string uri;  // this terminal's resource identifier; never empty once checked
    std::string user;
    std::string passwordFile;
    std::string sealedPasswordFile;
    std::string codeFile;
    std::string keyFile;
    std::string tokenFile;
    std::string token;
    std::string caFile;
    std::string caDirectory;
    bool insecureLab = false;
    bool wait = false;
    bool retryRefused = false;
    double giveUpAfterSeconds = 0;  // 0: never
    double connectTimeoutSeconds = 10;
    std::string logFile;
    unsigned int logLevel = 3;
    unsigned int traceLevel = 0;
};

// 'captions' and 'watch': what is shown, and how.
struct ShowOptions : ConnectionOptions {
    std::string language = "en-US";
    std::string translation;  // empty: none
    std::string terminal;     // watch: this terminal's id in the overlay's topic; never empty once checked
    bool json = false;
    bool interim = false;
    double durationSeconds = 0;  // 0: until interrupted
    std::string summaryFile;
    bool noSummary = false;
};

struct AskOptions : ConnectionOptions {
    std::string text;  // "-": standard input
    std::string kindText = "FREE_CHAT";
    std::string linkText = "conference";
    std::string modelText = "0";
    unsigned int kind = 0;   // of kindText
    unsigned int model = 0;  // of modelText
    bool managerLink = false;
    unsigned int sequenceNumber = 0;  // 0: the program chooses one
    unsigned int round = 1;
    double answerTimeoutSeconds = 120;
    bool json = false;
};

// What every request over HTTPS needs: no account and no link, but a token.
struct RequestOptions : ConnectionOptions {
    std::vector<std::string> dnsServers;  // empty: the system's
    double timeoutSeconds = 120;          // for everything that the program asks
    bool json = false;
    bool progress = false;
};

struct SigninListOptions : RequestOptions {
    bool notCheckedIn = false;
    unsigned int page = 1;  // the first one
    unsigned int size = 32;
    bool all = false;
};

struct SigninReportOptions : RequestOptions {
    std::vector<std::string> peopleTexts;  // ACCOUNT=NAME
    std::string time;                      // empty: now
    std::string type = "normal";
    std::string participant;  // empty: each person's name
    struct Person {
        std::string account;
        std::string name;
    };
    std::vector<Person> people;  // of peopleTexts
};

struct SigninOptions {
    enum class Action { kList, kHistory, kReport };
    Action action = Action::kList;
    SigninListOptions list;
    SigninListOptions history;
    SigninReportOptions report;
};

struct AccountOptions : RequestOptions {
    std::vector<std::string> accounts;
};

struct MatchOptions : RequestOptions {
    std::string userId;
    std::string site;
    long long startMs = 0;
    long long endMs = 0;
    int faceId = 0;
    float doa = 0;
    float score = 0;
    std::vector<int> rect;  // x, y, width, height; or nothing
};

// An address at which the face service may be.
struct FaceCandidate {
    std::string url;  // scheme, host and port, as it is told: "https://10.1.1.1:443"
    std::string host;
    unsigned int port = 0;
    bool isAddress = false;  // a dotted IPv4 address; the library asks at no other
};

// What everything about faces needs: candidates in serverText, the account in user, no conference, no token.
struct FaceServiceOptions : RequestOptions {
    std::vector<FaceCandidate> candidates;  // of serverText
};

struct FaceDetectOptions : FaceServiceOptions {
    bool all = false;
    bool watch = false;
    double forSeconds = 0;  // 0: until interrupted
};

struct FaceIdentifyOptions : FaceServiceOptions {
    std::string picture;
};

struct FacePhotosOptions : FaceServiceOptions {
    std::vector<std::string> ids;
    bool byPhotoId = false;
    std::string directory;
    bool force = false;
};

struct FaceOptions {
    enum class Action { kDetect, kIdentify, kPhotos };
    Action action = Action::kDetect;
    FaceDetectOptions detect;
    FaceIdentifyOptions identify;
    FacePhotosOptions photos;
};

struct SealOptions {
    std::string keyFile;
    std::string domain;
    bool createKey = false;
};

struct Options {
    ShowOptions captions;
    ShowOptions watch;
    AskOptions ask;
    RequestOptions participants;
    SigninOptions signin;
    AccountOptions account;
    MatchOptions match;
    FaceOptions face;
    SealOptions seal;
};

struct ParsedCommandLine {
    // What to run; null: only print output and leave with exitCode.
    int (*run)(const Options& options) = nullptr;
    Options options;
    int exitCode = 0;
    std::string output;  // help or version, for standard output
    std::string error;   // for standard error
};

// Never throws, never prints.
ParsedCommandLine ParseCommandLine(int argc, const char* const* argv);

}  // namespace quor_terminal

#endif
