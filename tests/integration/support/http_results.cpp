#include "support/http_results.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>

#include "support/bodies.h"
#include "support/host_terminal.h"

namespace quor_test {

using quor_simulator::Attendee;
using quor_simulator::Participant;

std::string ParticipantList(const std::vector<Participant>& participants) {
    const auto list = std::make_unique<TagQuorAiConfList>();
    std::memset(list.get(), 0, sizeof *list);
    list->parsed = 1;
    list->siteCount = static_cast<unsigned int>(std::min<std::size_t>(participants.size(), kQuorAiSiteMax));
    for (unsigned int i = 0; i < list->siteCount; ++i) {
        SetText(list->sites[i].id, participants[i].id);
        SetText(list->sites[i].name, participants[i].name);
    }
    return std::string(reinterpret_cast<const char*>(list.get()),
                       kQuorAiConfListHeadSize + list->siteCount * sizeof(TagQuorAiSiteInfo));
}

std::string SignInList(const std::vector<Attendee>& attendees, const TagQuorAiQuerySignIn& query) {
    std::vector<const Attendee*> wanted;
    for (const Attendee& attendee : attendees) {
        if (attendee.signIn.has_value() == (query.checkedIn != 0)) {
            wanted.push_back(&attendee);
        }
    }
    TagQuorAiGetSignIn list;
    std::memset(&list, 0, sizeof list);
    list.totalElements = static_cast<unsigned int>(wanted.size());
    list.totalPages = (list.totalElements + query.size - 1) / query.size;
    list.number = query.page;
    list.checkedIn = query.checkedIn;
    list.history = query.history;
    const std::size_t begin = std::min<std::size_t>(std::size_t{query.page} * query.size, wanted.size());
    const std::size_t end = std::min<std::size_t>(begin + query.size, wanted.size());
    for (std::size_t i = begin; i < end; ++i) {
        TagQuorAiGetSigninContent& entry = list.entries[list.count++];
        SetText(entry.name, wanted[i]->name);
        SetText(entry.account, wanted[i]->account);
        if (wanted[i]->signIn.has_value()) {
            SetText(entry.checkInTime, wanted[i]->signIn->time);
            SetText(entry.type, wanted[i]->signIn->type);
            SetText(entry.participantName, wanted[i]->signIn->participantName);
        }
    }
    return Bytes(list);
}

std::string AccountResult(unsigned int status, const std::string& account, const std::string& time) {
    TagQuorAiAccountCheckInInfo info;
    std::memset(&info, 0, sizeof info);
    info.httpStatus = status;
    SetText(info.account, account);
    SetText(info.checkInTime, time);
    return Bytes(info);
}

}  // namespace quor_test
