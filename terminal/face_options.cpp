// The options of 'face detect', 'face identify' and 'face photos'.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <climits>
#include <set>

#include "commands.h"
#include "connection_options.h"
#include "face_candidates.h"
#include "quor_ai/http_records.h"
#include "request_options.h"
#include "subcommand.h"

namespace quor_terminal {
namespace {

using Action = FaceOptions::Action;

constexpr const char* kExamples =
    "Examples:\n"
    "  quor-terminal face detect --server '10.1.1.1:8443;https://10.1.1.2' --account terminal \\\n"
    "      --password-file pw\n"
    "  quor-terminal face identify picture.jpg --server ...\n"
    "  quor-terminal face photos anna ben --out photos --server ...\n";

constexpr const char* kServerNote =
    "--server takes up to eight addresses, separated by semicolons: 10.1.1.1, 10.1.1.1:8443 or "
    "https://10.1.1.1.\n"
    "The library asks at dotted IPv4 addresses only; a name may stand there and is not asked.\n";

constexpr double kDetectTimeoutSeconds = 30;

// The longest URL that the library makes, and what of a photo request's stands around the ids.
constexpr std::size_t kLongestUrl = 255;
constexpr std::size_t kUsersPathLength = sizeof("/eua/face/v1/users//data") - 1;
constexpr std::size_t kPhotosPathLength = sizeof("/eua/face/v1/photos//data") - 1;

void AddServiceOptions(CLI::App& app, FaceServiceOptions& options, bool progress) {
    constexpr const char* kConnectionGroup = "Connection";
    constexpr const char* kOutputGroup = "Output";
    app.add_option("--server", options.serverText, "Where the face service may be")
        ->type_name("LIST")
        ->required()
        ->group(kConnectionGroup);
    AddCertificateOptions(app, options);
    app.add_option("--timeout", options.timeoutSeconds, "Limit for everything together")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.1, 86400.0))
        ->capture_default_str()
        ->group(kConnectionGroup);
    app.add_option("--account", options.user, "Account of the face service")
        ->type_name("NAME")
        ->required()
        ->group(kCredentialsGroup);
    AddPasswordOptions(app, options, kCredentialsGroup);
    AddKeyOption(app, options, kCredentialsGroup);
    app.add_flag("--json", options.json, "JSON documents, one a line")->group(kOutputGroup);
    if (progress) {
        app.add_flag("--progress", options.progress,
                     "Tell of every step on standard error, also where that is no terminal")
            ->group(kOutputGroup);
    }
    AddLogOptions(app, options, kOutputGroup);
    app.footer(kServerNote);
}

void AddDetectOptions(CLI::App& app, FaceDetectOptions& options) {
    constexpr const char* kGroup = "Search";
    options.timeoutSeconds = kDetectTimeoutSeconds;
    CLI::Option* const all =
        app.add_flag("--all", options.all, "Wait for what becomes of every candidate, not only for the first")
            ->group(kGroup);
    CLI::Option* const watch =
        app.add_flag("--watch", options.watch,
                     "Go on, and tell every change, until Ctrl-C; the library asks again every 30 seconds")
            ->excludes(all)
            ->group(kGroup);
    app.add_option("--for", options.forSeconds, "With --watch: end after this long")
        ->type_name("SECONDS")
        ->check(CLI::PositiveNumber)
        ->needs(watch)
        ->group(kGroup);
    AddServiceOptions(app, options, false);
}

void AddPhotosOptions(CLI::App& app, FacePhotosOptions& options) {
    constexpr const char* kGroup = "Photos";
    app.add_option("ids", options.ids, "Whose photos")->type_name("ID")->required();
    app.add_flag("--by-photo-id", options.byPhotoId, "The ids are those of photos, not of users")
        ->group(kGroup);
    app.add_option("--out", options.directory, "Where to put the photos; made when it is missing")
        ->type_name("DIR")
        ->required()
        ->group(kGroup);
    app.add_flag("--force", options.force, "Replace files that are there")->group(kGroup);
    AddServiceOptions(app, options, true);
}

void AddFaceOptions(CLI::App& app, Options& options) {
    FaceOptions& face = options.face;
    app.require_subcommand(1);
    const auto add = [&app, &face](const char* name, const char* summary, Action action) {
        CLI::App* const sub = app.add_subcommand(name, summary);
        sub->callback([&face, action] { face.action = action; });
        return sub;
    };
    AddDetectOptions(*add("detect", "Find out which candidate is the face service", Action::kDetect),
                     face.detect);
    CLI::App* const identify = add("identify", "Ask who is on a picture", Action::kIdentify);
    identify->add_option("picture", face.identify.picture, "File with the picture")
        ->type_name("PICTURE")
        ->required();
    AddServiceOptions(*identify, face.identify, true);
    AddPhotosOptions(*add("photos", "Fetch the photos of up to 12 users", Action::kPhotos), face.photos);
    app.footer(kExamples);
}

bool CheckService(FaceServiceOptions& options, std::string& message) {
    constexpr std::size_t kLongestAccount = sizeof(TagQuorAiFacePhotoParam::account) - 1;
    return ParseFaceCandidates(options.serverText, options.candidates, message) &&
           CheckText("--account", options.user, kLongestAccount, message) && CheckPassword(options, message);
}

// The ids stand in the path of a URL, separated by commas, as they are.
bool IsIdText(const std::string& id) {
    return id.find_first_of(",/?#%&\\") == std::string::npos &&
           std::all_of(id.begin(), id.end(), [](char c) { return c > ' ' && c < 0x7F; });
}

bool CheckIds(const FacePhotosOptions& options, std::string& message) {
    constexpr std::size_t kLongestId = sizeof(TagQuorAiFacePhotoParam::ids[0]) - 1;
    if (options.ids.size() > kQuorAiFacePhotoMax) {
        message = "at most " + std::to_string(kQuorAiFacePhotoMax) + " ids are taken at a time";
        return false;
    }
    std::set<std::string> seen;
    for (const std::string& id : options.ids) {
        if (!CheckText("an id", id, kLongestId, message)) {
            return false;
        }
        if (!IsIdText(id)) {
            message = "the id '" + id + "' holds a character that has no place in a URL's path";
            return false;
        }
        if (!seen.insert(id).second) {
            message = "the id " + id + " is there twice";
            return false;
        }
    }
    return true;
}

// Two ids of full length are too long for one URL already, and the library tells it nobody but its log.
bool CheckUrl(const FacePhotosOptions& options, std::string& message) {
    std::size_t ids = options.ids.size() - 1;  // the commas between them
    for (const std::string& id : options.ids) {
        ids += id.size();
    }
    std::size_t base = 0;
    for (const FaceCandidate& candidate : options.candidates) {
        base = std::max(base, candidate.isAddress ? candidate.url.size() : 0);
    }
    const std::size_t path = options.byPhotoId ? kPhotosPathLength : kUsersPathLength;
    const std::size_t room = kLongestUrl - std::min(kLongestUrl, path + base);
    if (ids > room) {
        message = "the ids are " + std::to_string(ids) + " characters long with the commas between them; a " +
                  "request has room for " + std::to_string(room) + ": ask for fewer at a time";
        return false;
    }
    return true;
}

bool CheckFaceOptions(Options& options, std::string& message) {
    FaceOptions& face = options.face;
    switch (face.action) {
        case Action::kDetect:
            return CheckService(face.detect, message);
        case Action::kIdentify:
            return CheckService(face.identify, message);
        case Action::kPhotos:
            return CheckService(face.photos, message) &&
                   CheckText("--out", face.photos.directory, PATH_MAX, message) &&
                   CheckIds(face.photos, message) && CheckUrl(face.photos, message);
    }
    return false;
}

}  // namespace

const Subcommand kFaceSubcommand = {"face", "Find the face service, and ask it who somebody is",
                                    AddFaceOptions, CheckFaceOptions, RunFace};

}  // namespace quor_terminal
