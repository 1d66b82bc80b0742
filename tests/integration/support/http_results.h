// http_results.h - what observers must get for what the server holds, byte for byte.
#ifndef QUOR_TESTS_INTEGRATION_HTTP_RESULTS_H
#define QUOR_TESTS_INTEGRATION_HTTP_RESULTS_H

#include <string>
#include <vector>

#include "quor_ai/http_records.h"
#include "quor_simulator/rest.h"

namespace quor_test {

// AI_SUB_ID_QUERY_CONF_LIST: the first kQuorAiSiteMax participants.
std::string ParticipantList(const std::vector<quor_simulator::Participant>& participants);

// AI_SUB_ID_QUERY_SIGN_IN: the page that query asks for, of those who have checked in or of the others.
std::string SignInList(const std::vector<quor_simulator::Attendee>& attendees,
                       const TagQuorAiQuerySignIn& query);

// AI_SUB_ID_QUERY_ACCOUNT_SIGN_IN.
std::string AccountResult(unsigned int status, const std::string& account = {}, const std::string& time = {});

}  // namespace quor_test

#endif
