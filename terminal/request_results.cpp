#include "request_results.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "quor_ai/http_records.h"

namespace quor_terminal {
namespace {

template <std::size_t N>
std::string FieldText(const char (&field)[N]) {
    return std::string(field, strnlen(field, N));
}

template <typename Record>
bool CopyRecord(const ResultBytes& bytes, Record& record) {
    if (bytes.size() < sizeof(Record)) {
        return false;
    }
    std::memcpy(&record, bytes.data(), sizeof(Record));
    return true;
}

template <std::size_t N>
std::vector<Checkin> PeopleOf(const TagQuorAiGetSigninContent (&entries)[N], unsigned int count) {
    std::vector<Checkin> people;
    for (std::size_t i = 0; i < std::min<std::size_t>(count, N); ++i) {
        const TagQuorAiGetSigninContent& entry = entries[i];
        people.push_back({FieldText(entry.name), FieldText(entry.account), FieldText(entry.checkInTime),
                          FieldText(entry.type), FieldText(entry.participantName)});
    }
    return people;
}

}  // namespace

// The result ends with its last entry, so the record is not copied whole.
bool ReadParticipants(const ResultBytes& bytes, std::vector<Site>& participants) {
    if (bytes.size() < kQuorAiConfListHeadSize) {
        return false;
    }
    unsigned int count = 0;
    std::memcpy(&count, bytes.data() + offsetof(TagQuorAiConfList, siteCount), sizeof count);
    if (count > (bytes.size() - kQuorAiConfListHeadSize) / sizeof(TagQuorAiSiteInfo)) {
        return false;
    }
    participants.reserve(count);
    TagQuorAiSiteInfo site;
    for (unsigned int i = 0; i < count; ++i) {
        std::memcpy(&site, bytes.data() + kQuorAiConfListHeadSize + i * sizeof site, sizeof site);
        participants.push_back({FieldText(site.id), FieldText(site.name)});
    }
    return true;
}

bool ReadSigninPage(const ResultBytes& bytes, SigninPage& page) {
    TagQuorAiGetSignIn record;
    if (!CopyRecord(bytes, record)) {
        return false;
    }
    page.page = record.number + 1;
    page.totalPages = record.totalPages;
    page.totalPeople = record.totalElements;
    page.checkedIn = record.checkedIn != 0;
    page.history = record.history != 0;
    page.people = PeopleOf(record.entries, record.count);
    return true;
}

bool ReadSigninReport(const ResultBytes& bytes, SigninReport& report) {
    TagQuorAiReportSiginIn record;
    if (!CopyRecord(bytes, record)) {
        return false;
    }
    report.accepted = record.result == 1;
    report.people = PeopleOf(record.entries, record.reportCount);
    return true;
}

bool ReadAccountState(const ResultBytes& bytes, AccountState& state) {
    TagQuorAiAccountCheckInInfo record;
    if (!CopyRecord(bytes, record)) {
        return false;
    }
    state.httpStatus = record.httpStatus;
    state.account = FieldText(record.account);
    state.time = FieldText(record.checkInTime);
    return true;
}

bool ReadMatch(const ResultBytes& bytes, bool& accepted) {
    TagQuorAiAVMatchtData record;
    if (!CopyRecord(bytes, record)) {
        return false;
    }
    accepted = record.success == 1;
    return true;
}

bool ReadFaceMatch(const ResultBytes& bytes, FaceMatch& match) {
    tagQuorAiFaceEUADetectResult record;
    if (!CopyRecord(bytes, record)) {
        return false;
    }
    match.result = record.result;
    match.name = FieldText(record.name);
    match.userId = FieldText(record.userid);
    match.photoId = FieldText(record.photoid);
    match.score = record.score;
    match.code = FieldText(record.code);
    match.message = FieldText(record.message);
    return true;
}

// Behind a photo no description is aligned, so each is copied out.
bool ReadFacePhotos(const ResultBytes& bytes, std::vector<FacePhoto>& photos) {
    std::size_t at = offsetof(TagQuorAiFacePhotoList, payload);
    if (bytes.size() < at) {
        return false;
    }
    unsigned int count = 0;
    std::memcpy(&count, bytes.data() + offsetof(TagQuorAiFacePhotoList, entryCount), sizeof count);
    for (unsigned int i = 0; i < count; ++i) {
        QuorAiSingleFacePhoto entry;
        if (bytes.size() - at < sizeof entry) {
            return false;
        }
        std::memcpy(&entry, bytes.data() + at, sizeof entry);
        at += sizeof entry;
        const std::size_t size = entry.hasPhoto != 0 ? entry.photoSize : 0;
        if (bytes.size() - at < size) {
            return false;
        }
        FacePhoto photo{
            FieldText(entry.id), size > 0, FieldText(entry.errorCode), FieldText(entry.errorMessage), {}};
        photo.bytes.assign(bytes.data() + at, bytes.data() + at + size);
        at += size;
        photos.push_back(std::move(photo));
    }
    return true;
}

}  // namespace quor_terminal
