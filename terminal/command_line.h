// command_line.h - what the user asked for, checked.
//
// The subcommands stand in one table in command_line.cpp: name, what it is for, its options, the operation
// that runs it. A new subcommand is a row there and a file of its own.
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

struct CaptionsOptions {
    std::string serverText;
    ServerAddress server;
    std::string conference;
    std::string language = "en-US";
    std::string translation;  // empty: none
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
    bool json = false;
    bool interim = false;
    bool wait = false;
    bool retryRefused = false;
    double giveUpAfterSeconds = 0;  // 0: never
    double durationSeconds = 0;     // 0: until interrupted
    double connectTimeoutSeconds = 10;
    std::string logFile;
    unsigned int logLevel = 3;
    unsigned int traceLevel = 0;
    std::string summaryFile;
    bool noSummary = false;
};

struct SealOptions {
    std::string keyFile;
    std::string domain;
    bool createKey = false;
};

struct Options {
    CaptionsOptions captions;
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
