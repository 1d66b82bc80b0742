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

struct FaceMatch {
    int result = 0;  // as the library says it: 0 a match, 1 none or refused, 4 an incomplete answer
    std::string name;
    std::string userId;
    std::string photoId;
    int score = 0;
    std::string code;  // these two of a request that the service refused
    std::string message;
};

struct FacePhoto {
    std::string id;
    bool hasPhoto = false;
    std::string code;  // these two without a photo, where the service says why
    std::string message;
    std::vector<unsigned char> bytes;
};

// From the bytes of a notification. False: it is too short for its record.
using ResultBytes = std::vector<unsigned char>;
bool ReadParticipants(const ResultBytes& bytes, std::vector<Site>& participants);
bool ReadSigninPage(const ResultBytes& bytes, SigninPage& page);
bool ReadSigninReport(const ResultBytes& bytes, SigninReport& report);
bool ReadAccountState(const ResultBytes& bytes, AccountState& state);
bool ReadMatch(const ResultBytes& bytes, bool& accepted);
bool ReadFaceMatch(const ResultBytes& bytes, FaceMatch& match);
// Adds to photos. False: the notification ends inside an entry; the whole ones before it were added.
bool ReadFacePhotos(const ResultBytes& bytes, std::vector<FacePhoto>& photos);

}  // namespace quor_terminal

#endif
