/*
 * scenario.h - a scripted conference: a JSON text checked and turned into a list of timed actions. The format
 * is described in docs/simulator.md.
 */
#ifndef QUOR_SIMULATOR_SCENARIO_H
#define QUOR_SIMULATOR_SCENARIO_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hub.h"

namespace quor_simulator {

struct ScenarioMessage {
    std::string destination;
    std::string body;
    PublishOptions options;
};

/* A message, a fault or a change of the HTTP side; a message may come with such a change. */
struct ScenarioAction {
    Milliseconds at{0};
    std::size_t step = 0; /* index in the file's list; an utterance makes several actions */
    std::optional<ScenarioMessage> message;
    std::function<void(Hub&)> fault;
    std::function<void(Rest&)> rest;
    bool isDrop = false;
};

struct Scenario {
    std::string conference;
    Conference contents;                       /* what HTTP requests find there before the first step */
    std::map<std::string, Conference> history; /* conferences that are over */
    std::vector<ScenarioAction>
        actions;              /* at least one, by time; those of the same time in the file's order */
    Milliseconds period{0};   /* of one round, when it is repeated */
    std::uint64_t repeat = 1; /* rounds; 0: until stopped */
    std::uint64_t steps = 0;  /* in one round */
};

/* name stands for the text in errors. Throws Error: "<name>: <JSON path>: <what is wrong>". */
Scenario ParseScenario(std::string_view text, const std::string& name);
Scenario ReadScenarioFile(const std::string& path);

}  // namespace quor_simulator

#endif
