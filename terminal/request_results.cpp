#include "request_results.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

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

}  // namespace quor_terminal
