// request_results.h - what the server answers to requests, as values of the program's own.
//
// Threads: pure functions.
#ifndef QUOR_TERMINAL_REQUEST_RESULTS_H
#define QUOR_TERMINAL_REQUEST_RESULTS_H

#include <string>
#include <vector>

#include "results.h"

namespace quor_terminal {

struct SigninPage {
    unsigned int page = 0;  // from 1
    unsigned int totalPages = 0;
    unsigned int totalPeople = 0;
    bool checkedIn = false;
    bool history = false;
    std::vector<Checkin> people;  // time, type and participant only of those who checked in
};

struct SigninReport {
    bool accepted = false;
    std::vector<Checkin> people;
};

struct AccountState {
    unsigned int httpStatus = 0;  // 200 after a good answer; 0 without one
    std::string account;          // empty: has not checked in
    std::string time;
};

// From the bytes of a notification. False: it is too short for its record.
using ResultBytes = std::vector<unsigned char>;
bool ReadParticipants(const ResultBytes& bytes, std::vector<Site>& participants);
bool ReadSigninPage(const ResultBytes& bytes, SigninPage& page);
bool ReadSigninReport(const ResultBytes& bytes, SigninReport& report);
bool ReadAccountState(const ResultBytes& bytes, AccountState& state);
bool ReadMatch(const ResultBytes& bytes, bool& accepted);

}  // namespace quor_terminal

#endif
