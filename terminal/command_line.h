// command_line.h - what the user asked for, checked.
//
// The subcommands stand in one table in command_line.cpp; each row is a Subcommand (subcommand.h) that the
// file with its options defines. A new subcommand is such a file, a record here, a row there, and the
// operation that runs it.
#ifndef QUOR_TERMINAL_COMMAND_LINE_H
#define QUOR_TERMINAL_COMMAND_LINE_H

#include <chrono>
#include <string>

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

struct SealOptions {
    std::string keyFile;
    std::string domain;
    bool createKey = false;
};

struct Options {
    ShowOptions captions;
    ShowOptions watch;
    AskOptions ask;
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
