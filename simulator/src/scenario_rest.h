/*
 * scenario_rest.h - what scenario files say about the HTTP side: generated people, finished conferences, and
 * the steps that change people and faults. All functions throw Error as scenario.h describes.
 */
#ifndef QUOR_SIMULATOR_SCENARIO_REST_H
#define QUOR_SIMULATOR_SCENARIO_REST_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "json_node.h"
#include "message_bodies.h"
#include "quor_simulator/rest.h"

namespace quor_simulator {

using PersonFinder = std::function<const Person&(const JsonNode&)>;

/* The conference of people and, after them, so many generated ones. */
Conference MakeConference(const std::vector<Person>& people, std::size_t generated);

Attendee CheckedIn(const Person& person, const std::string& time, const std::string& type);

/* "history": [{"conference", "people", "checkedIn", "generate", "time", "type"}] */
std::map<std::string, Conference> ReadHistory(const JsonNode& list, const PersonFinder& find);

/* Steps become what they do. */
using RestStep = std::function<void(Rest&)>;
RestStep ReadParticipantsStep(const JsonNode& step, const std::string& conference, const PersonFinder& find);
RestStep ReadHttpFaultStep(const JsonNode& step);
RestStep ReadHttpReleaseStep(const JsonNode& step);
RestStep ReadHttpClearStep(const JsonNode& step);

/* The most that "generate" may say. */
inline constexpr std::int64_t kMaxGenerated = 1000000;

}  // namespace quor_simulator

#endif
