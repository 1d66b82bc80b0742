/*
 * destinations.h - the server's destinations: their texts, and which of them ask for a token. Pure functions.
 */
#ifndef QUOR_SIMULATOR_DESTINATIONS_H
#define QUOR_SIMULATOR_DESTINATIONS_H

#include <string>
#include <string_view>

namespace quor_simulator {

inline constexpr std::string_view kCapabilityDestination = "/terminal/parameter";
inline constexpr std::string_view kModelDestination = "/terminal/chat/v1/completions";

/* For SUBSCRIBE and SEND alike. */
bool NeedsToken(std::string_view destination);

std::string ConferenceTopic(const std::string& conference);
std::string CheckInTopic(const std::string& conference);
std::string CaptionTopic(const std::string& conference, const std::string& language);
std::string SitesTopic(const std::string& conference);
std::string OverlayTopic(const std::string& terminal);
std::string ModelAnswerTopic(const std::string& conference, const std::string& uri);

}  // namespace quor_simulator

#endif
