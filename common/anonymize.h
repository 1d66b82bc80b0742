// anonymize.h - addresses and serial numbers in a form that may stand in a log. Pure functions, callable from
// any thread.
#ifndef COMMON_ANONYMIZE_H
#define COMMON_ANONYMIZE_H

#include <string>

namespace QuorAiEngine {

// "IPv6" for any text with a colon, "IPv4" for one with a dot and no colon, else "Invalid". Nothing more is
// checked; an IPv4 address mapped into IPv6 is "IPv6".
std::string GetIPType(const std::string& address);

// The address with its middle half masked by '*'; colons and dots stay.
std::string AnonymizeIP(const std::string& address);

// The last four characters, or "lessThanFour".
std::string AnonymizeSN(const std::string& serial);

}  // namespace QuorAiEngine

#endif
