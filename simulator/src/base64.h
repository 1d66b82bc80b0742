/* base64.h - base64 as RFC 4648 has it: the usual alphabet, padded, without line ends. */
#ifndef QUOR_SIMULATOR_BASE64_H
#define QUOR_SIMULATOR_BASE64_H

#include <optional>
#include <string>
#include <string_view>

namespace quor_simulator {

/* Up to 1 GiB. */
std::string EncodeBase64(std::string_view bytes);

/* nullopt: another character, or no padding where it is due. */
std::optional<std::string> DecodeBase64(std::string_view text);

}  // namespace quor_simulator

#endif
