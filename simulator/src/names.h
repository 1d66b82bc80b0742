/* names.h - the words for the API's choices, as scenario files and the program's commands spell them. */
#ifndef QUOR_SIMULATOR_NAMES_H
#define QUOR_SIMULATOR_NAMES_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "quor_simulator/simulator.h"

namespace quor_simulator {

template <class Value>
struct Named {
    std::string_view name;
    Value value;
};

inline constexpr Named<Drop> kDropNames[] = {
    {"closeFrame", Drop::kCloseFrame}, {"noCloseFrame", Drop::kNoCloseFrame}, {"reset", Drop::kReset}};

inline constexpr Named<Certificate> kCertificateNames[] = {{"good", Certificate::kGood},
                                                           {"wrongHost", Certificate::kWrongHost},
                                                           {"expired", Certificate::kExpired},
                                                           {"notYetValid", Certificate::kNotYetValid},
                                                           {"selfSigned", Certificate::kSelfSigned},
                                                           {"incomplete", Certificate::kIncomplete},
                                                           {"namesOnly", Certificate::kNamesOnly},
                                                           {"addressesOnly", Certificate::kAddressesOnly}};

inline constexpr Named<ContentLength> kContentLengthNames[] = {{"bytes", ContentLength::kBytes},
                                                               {"missing", ContentLength::kMissing},
                                                               {"characters", ContentLength::kCharacters}};

inline constexpr Named<Malformed> kMalformedNames[] = {{"noHeaderEnd", Malformed::kNoHeaderEnd},
                                                       {"noColon", Malformed::kNoColon},
                                                       {"unknownCommand", Malformed::kUnknownCommand},
                                                       {"noDestination", Malformed::kNoDestination},
                                                       {"notStomp", Malformed::kNotStomp}};

inline constexpr Named<AnswerKind> kAnswerNames[] = {{"capability", AnswerKind::kCapability},
                                                     {"model", AnswerKind::kModel},
                                                     {"managerModel", AnswerKind::kManagerModel}};

inline constexpr Named<Endpoint> kEndpointNames[] = {
    {"participants", Endpoint::kParticipants},     {"signInList", Endpoint::kSignInList},
    {"signInHistory", Endpoint::kSignInHistory},   {"signInReport", Endpoint::kSignInReport},
    {"accountQuery", Endpoint::kAccountQuery},     {"matchReport", Endpoint::kMatchReport},
    {"faceVersion", Endpoint::kFaceVersion},       {"faceIdentify", Endpoint::kFaceIdentify},
    {"faceUserPhotos", Endpoint::kFaceUserPhotos}, {"facePhotos", Endpoint::kFacePhotos}};

inline constexpr Named<Port> kPortNames[] = {{"first", Port::kFirst}, {"second", Port::kSecond}};

inline constexpr Named<Cut> kCutNames[] = {
    {"before", Cut::kBefore}, {"head", Cut::kHead}, {"body", Cut::kBody}, {"reset", Cut::kReset}};

inline constexpr Named<Content> kContentNames[] = {{"badJson", Content::kBadJson},
                                                   {"empty", Content::kEmpty},
                                                   {"notJson", Content::kNotJson},
                                                   {"otherJson", Content::kOtherJson},
                                                   {"wrongTypes", Content::kWrongTypes}};

template <class Value, std::size_t N>
std::optional<Value> FindNamed(const Named<Value> (&names)[N], std::string_view name) {
    for (const Named<Value>& candidate : names) {
        if (candidate.name == name) {
            return candidate.value;
        }
    }
    return std::nullopt;
}

/* "a, b, c" */
template <class Value, std::size_t N>
std::string ListNames(const Named<Value> (&names)[N]) {
    std::string list;
    for (const Named<Value>& candidate : names) {
        list.append(list.empty() ? "" : ", ").append(candidate.name);
    }
    return list;
}

}  // namespace quor_simulator

#endif
