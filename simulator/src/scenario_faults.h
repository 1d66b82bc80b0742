/*
 * scenario_faults.h - the steps of scenario files that are faults of links, as what they do. All functions
 * throw Error as scenario.h describes.
 */
#ifndef QUOR_SIMULATOR_SCENARIO_FAULTS_H
#define QUOR_SIMULATOR_SCENARIO_FAULTS_H

#include <functional>

#include "hub.h"
#include "json_node.h"

namespace quor_simulator {

using FaultStep = std::function<void(Hub&)>;

FaultStep ReadDropStep(const JsonNode& step);
FaultStep ReadFreezeStep(const JsonNode& step);
FaultStep ReadThawStep(const JsonNode& step);
FaultStep ReadMalformedStep(const JsonNode& step);
FaultStep ReadCertificateStep(const JsonNode& step);
FaultStep ReadRefuseStep(const JsonNode& step);
FaultStep ReadTokensStep(const JsonNode& step);
FaultStep ReadSlowStep(const JsonNode& step);
FaultStep ReadMuteHeartBeatsStep(const JsonNode& step);

}  // namespace quor_simulator

#endif
