#include "face_endpoints.h"

#include <openssl/crypto.h>

#include <algorithm>

#include "base64.h"
#include "quor_simulator/simulator.h"
#include "rest_fault.h"

namespace quor_simulator {
namespace {

constexpr const char* kVersion = "1.0";
/* Of one request: every id may bring a photo of megabytes. */
constexpr std::size_t kMaxIds = kMaxResults;
constexpr std::size_t kExtraPhotoBytes = 1024;
/* Terminals keep so much of a text that says why. */
constexpr std::size_t kMaxMessageBytes = 127;
constexpr const char* kNoBase64 = "*** this is no base64 ***";

const RestFault& FaultOf(const RestCall& call) {
    static const RestFault kNone;
    return call.fault == nullptr ? kNone : *call.fault;
}

/* Whether the header is the text as base64. Compared in constant time. */
bool Carries(const HttpRequest& request, std::string_view name, const std::string& text) {
    const std::string* header = request.Header(name);
    const std::string expected = EncodeBase64(text);
    return header != nullptr && header->size() == expected.size() &&
           CRYPTO_memcmp(header->data(), expected.data(), expected.size()) == 0;
}

/* Places count from 1; a list names some of them. */
bool Names(const std::vector<std::size_t>& places, std::size_t place) {
    return std::find(places.begin(), places.end(), place) != places.end();
}

/* What a list says about a place; beyond its end its last entry counts. */
template <class Value>
Value Pick(const std::vector<Value>& values, std::size_t place) {
    return values[std::min(place, values.size()) - 1];
}

std::string ExtraId(std::size_t place) {
    return "extra-" + std::to_string(place);
}

Json Failure(const char* code, const std::string& message) {
    return {{"status", "failed"}, {"code", code}, {"message", message.substr(0, kMaxMessageBytes)}};
}

Json Success(Json results) {
    return {{"status", "success"}, {"results", std::move(results)}};
}

/* ---- whose face is this? ---- */

/* nullopt: as many as the fault says, if it says anything. */
std::optional<std::size_t> ForcedCount(const RestFault& fault) {
    if (fault.results || fault.scores.empty()) {
        return fault.results;
    }
    return fault.scores.size();
}

/* Whoever is not in the gallery is made up. */
Json Matches(std::vector<FaceIndex::Match> found, std::size_t count, const RestFault& fault) {
    Json results = Json::array();
    for (std::size_t place = 1; place <= count; ++place) {
        FaceIndex::Match match{ExtraId(place), ExtraId(place), "Extra " + std::to_string(place), 0};
        if (place <= found.size()) {
            match = std::move(found[place - 1]);
        }
        const double score = fault.scores.empty() ? match.score : Pick(fault.scores, place);
        results.push_back(
            {{"userid", match.userId}, {"photoid", match.photoId}, {"score", score}, {"name", match.name}});
    }
    return results;
}

RestReply Identify(const FaceIndex& gallery, const RestCall& call) {
    if (!CarriesJson(call.request)) {
        return Refuse(415, "the body must be application/json");
    }
    const Json body = Json::parse(call.request.body, nullptr, false);
    if (!body.is_object()) {
        return Refuse(400, "the body must be a JSON object");
    }
    const auto limit = body.find("limit");
    const auto data = body.find("data");
    if (limit == body.end() || !limit->is_number_integer() || *limit < 1) {
        return Refuse(400, "limit must be a whole number from 1 on");
    }
    if (data == body.end() || !data->is_string()) {
        return Refuse(400, "data must be a text");
    }
    const RestFault& fault = FaultOf(call);
    const std::optional<std::size_t> forced = ForcedCount(fault);
    std::vector<FaceIndex::Match> found;
    try {
        const std::optional<std::string> picture = DecodeBase64(data->get_ref<const std::string&>());
        if (!picture) {
            throw Error("is no base64");
        }
        found = gallery.Rank(HashPicture(*picture));
    } catch (const Error& error) {
        if (!forced) {
            return {200, Failure("PICTURE_UNREADABLE", std::string("the picture ") + error.what())};
        }
        found = gallery.Everybody();
    }
    const auto asked = limit->get<std::uint64_t>();
    const std::size_t count = forced.value_or(std::min<std::uint64_t>(asked, found.size()));
    return {200, Success(Matches(std::move(found), count, fault))};
}

/* ---- pictures ---- */

/* The list between the path's last two slashes. Its commas are those that were sent as such: one that was
 * percent-encoded belongs to an id. */
std::vector<std::string> AskedIds(std::string_view target) {
    std::string_view list = target.substr(0, target.find('?'));
    list = list.substr(0, list.rfind('/'));
    list = list.substr(list.rfind('/') + 1);
    std::vector<std::string> ids;
    for (;;) {
        const std::size_t comma = list.find(',');
        ids.push_back(PercentDecode(list.substr(0, comma)).value_or(""));
        if (comma == std::string_view::npos) {
            return ids;
        }
        list.remove_prefix(comma + 1);
    }
}

/* The bytes that an answer has in a place; nullopt: nobody has such a picture. */
std::optional<std::string> PhotoFor(const FacePhoto* known, bool asked, std::size_t place,
                                    const RestFault& fault) {
    if (!fault.photoBytes.empty()) {
        return FillerPhoto(Pick(fault.photoBytes, place), place);
    }
    if (!asked) {
        return FillerPhoto(kExtraPhotoBytes, place);
    }
    return known == nullptr ? std::nullopt : std::optional(known->data);
}

Json PhotoResult(const std::optional<std::string>& photo, std::size_t place, const RestFault& fault) {
    if (Names(fault.failItems, place)) {
        return Failure("FAILED_ON_COMMAND", "failed on command");
    }
    if (!photo) {
        return Failure("NOT_FOUND", "there is no such picture");
    }
    const bool bad = fault.badBase64 && (fault.badBase64->empty() || Names(*fault.badBase64, place));
    return {{"status", "success"}, {"data", bad ? kNoBase64 : EncodeBase64(*photo)}};
}

RestReply Photos(const FaceIndex& gallery, const RestCall& call) {
    const bool ofUsers = call.endpoint == Endpoint::kFaceUserPhotos;
    const RestFault& fault = FaultOf(call);
    const std::vector<std::string> ids = AskedIds(call.request.target);
    if (ids.size() > kMaxIds) {
        return Refuse(400, "more than " + std::to_string(kMaxIds) + " ids");
    }
    Json results = Json::array();
    for (std::size_t place = 1; place <= fault.results.value_or(ids.size()); ++place) {
        const bool asked = place <= ids.size();
        const std::string id = asked ? ids[place - 1] : ExtraId(place);
        const FacePhoto* known = ofUsers ? gallery.PhotoOfUser(id) : gallery.Photo(id);
        Json result{{ofUsers ? "userid" : "photoid", id}};
        result.update(PhotoResult(PhotoFor(known, asked, place, fault), place, fault));
        results.push_back(std::move(result));
    }
    return {200, Success(std::move(results))};
}

}  // namespace

const std::vector<Route>& FaceEndpoints::routes() const {
    static const std::vector<Route> kRoutes = {
        {Endpoint::kFaceVersion, "GET", "/eua/face/v1/version"},
        {Endpoint::kFaceIdentify, "POST", "/eua/face/v1/query/identify", true},
        {Endpoint::kFaceUserPhotos, "GET", "/eua/face/v1/users/{}/data"},
        {Endpoint::kFacePhotos, "GET", "/eua/face/v1/photos/{}/data"}};
    return kRoutes;
}

std::optional<RestReply> FaceEndpoints::Check(const RestCall& call) {
    if (Carries(call.request, "authAccount", m_credentials.account) &&
        Carries(call.request, "authPassword", m_credentials.password)) {
        return std::nullopt;
    }
    return Refuse(401, "authAccount or authPassword is missing or wrong");
}

RestReply FaceEndpoints::Answer(const RestCall& call) {
    RestReply reply;
    switch (call.endpoint) {
        case Endpoint::kFaceVersion:
            reply.body = {{"status", "success"}, {"version", kVersion}};
            break;
        case Endpoint::kFaceIdentify:
            reply.later = [gallery = m_gallery, &call] { return Identify(*gallery, call); };
            break;
        default:
            reply.later = [gallery = m_gallery, &call] { return Photos(*gallery, call); };
            break;
    }
    return reply;
}

}  // namespace quor_simulator
