// face_photos_command.cpp - 'quor-terminal face photos': fetches photos and puts them into a directory.
#include <string.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "credentials.h"
#include "exit_codes.h"
#include "face_commands.h"
#include "face_run.h"
#include "photo_directory.h"
#include "quor_ai/ai_http_adapter.h"
#include "session.h"
#include "table.h"
#include "text_layout.h"

namespace quor_terminal {
namespace {

constexpr unsigned int kIdTypePhoto = 1;

TagQuorAiFacePhotoParam QueryOf(const FacePhotosOptions& options,
                                const tagAI_FACE_S_EUA_SERVER_INFO& service) {
    TagQuorAiFacePhotoParam query{};
    query.idCount = static_cast<unsigned int>(options.ids.size());
    for (std::size_t i = 0; i < options.ids.size(); ++i) {
        SetField(query.ids[i], options.ids[i]);
    }
    query.idType = options.byPhotoId ? kIdTypePhoto : kQuorAiFaceIdTypeUser;
    query.requestId = 1;  // there is no other one in this run
    query.serverPort = service.port;
    SetField(query.serverAddr, service.url);
    SetField(query.account, service.account);
    SetField(query.password, service.password);
    return query;
}

// Takes what comes, saves it, and knows what is missing.
class PhotoCollection {
public:
    PhotoCollection(const FacePhotosOptions& options, PhotoDirectory& directory, RequestRun& output)
        : m_options(options), m_directory(directory), m_output(output), m_missing(options.ids) {}

    // True: nothing is missing any more, or its loss is known.
    bool Take(const RequestParts& parts) {
        for (const std::vector<unsigned char>& notification : parts.notifications) {
            std::vector<FacePhoto> photos;
            m_broken = !ReadFacePhotos(notification, photos) || m_broken;
            for (const FacePhoto& photo : photos) {
                TakePhoto(photo);
            }
        }
        m_lost.insert(m_lost.end(), parts.lost.begin(), parts.lost.end());
        m_output.ShowProgress("photos: " + std::to_string(m_options.ids.size() - m_missing.size()) + " of " +
                              std::to_string(m_options.ids.size()) + ", " +
                              Counted(m_bytes, "byte", "bytes"));
        return m_missing.size() <= m_lost.size();
    }

    // Tells what has not been told. Returns the exit code.
    int Conclude();
    // The same after a failure, which has been told.
    void TellTaken();

private:
    void TakePhoto(const FacePhoto& photo);
    void Tell(const FacePhoto& photo, const std::string& file, const std::string& note);
    // Why ids are missing, as far as that is known.
    std::vector<std::string> Losses() const;
    std::string Text() const;
    Json Document() const;

    const FacePhotosOptions& m_options;
    PhotoDirectory& m_directory;
    RequestRun& m_output;
    std::vector<std::string> m_missing;  // ids of which nothing has come
    std::vector<std::string> m_lost;     // what the library wrote about items that it does not hand on
    std::vector<TableRow> m_rows;
    std::size_t m_saved = 0;
    std::size_t m_bytes = 0;         // of the photos saved
    std::size_t m_withoutPhoto = 0;  // ids that the service knows no photo of
    bool m_failed = false;           // a photo came and could not be saved
    bool m_broken = false;           // a notification ended inside an entry
    bool m_outputGone = false;
};

void PhotoCollection::TakePhoto(const FacePhoto& photo) {
    m_missing.erase(std::remove(m_missing.begin(), m_missing.end(), photo.id), m_missing.end());
    if (!photo.hasPhoto) {
        ++m_withoutPhoto;
        std::string note = photo.message.empty() ? "no photo" : photo.message;
        note += photo.code.empty() ? "" : " (" + photo.code + ")";
        Tell(photo, "", note);
        return;
    }
    std::string file;
    std::string note;
    if (m_directory.Save(photo.id, photo.bytes, m_options.force, file, note)) {
        ++m_saved;
        m_bytes += photo.bytes.size();
        Tell(photo, file, "");
    } else {
        m_failed = true;
        Tell(photo, "", note);
    }
}

void PhotoCollection::Tell(const FacePhoto& photo, const std::string& file, const std::string& note) {
    m_rows.push_back({photo.id, photo.hasPhoto ? std::to_string(photo.bytes.size()) : "", file, note});
    if (!m_options.json) {
        return;
    }
    Json document = {{"kind", "photo"}, {"id", photo.id}, {"saved", !file.empty()}};
    if (photo.hasPhoto) {
        document["bytes"] = photo.bytes.size();
    }
    if (!file.empty()) {
        document["file"] = file;
    }
    if (!photo.hasPhoto) {
        document["code"] = photo.code;
        document["message"] = photo.message;
    } else if (!note.empty()) {
        document["problem"] = note;
    }
    m_outputGone = m_outputGone || !m_output.Print(document);
}

// The library writes the size of a photo that is too big, and nothing else about what it does not hand on.
std::vector<std::string> PhotoCollection::Losses() const {
    constexpr std::string_view kTooBig = "too big to send: ";
    std::vector<std::string> losses;
    std::size_t unread = 0;
    for (const std::string& words : m_lost) {
        const std::size_t at = words.find(kTooBig);
        if (at == std::string::npos) {
            ++unread;
        } else {
            losses.push_back("a photo of " + words.substr(at + kTooBig.size()) +
                             " bytes is too big for the library");
        }
    }
    if (unread > 0 || m_broken) {
        losses.push_back(Counted(std::max<std::size_t>(unread, 1), "item", "items") + " could not be read");
    }
    if (m_missing.size() > m_lost.size()) {
        losses.emplace_back("the service sent nothing under " +
                            Counted(m_missing.size() - m_lost.size(), "id", "ids"));
    }
    return losses;
}

Json PhotoCollection::Document() const {
    return {{"kind", "photos"}, {"asked", m_options.ids.size()}, {"saved", m_saved},
            {"bytes", m_bytes}, {"missing", m_missing},          {"losses", Losses()}};
}

std::string PhotoCollection::Text() const {
    return FormatTable({"ID", "BYTES", "FILE", "NOTE"}, m_rows) + Counted(m_saved, "photo", "photos") +
           " saved, " + Counted(m_bytes, "byte", "bytes") + "\n";
}

void PhotoCollection::TellTaken() {
    if (!m_options.json && !m_rows.empty()) {
        m_output.Print(Text());
    }
}

int PhotoCollection::Conclude() {
    for (const std::string& id : m_missing) {
        m_rows.push_back({id, "", "", "did not come"});
    }
    if (!(m_options.json ? m_output.Print(Document()) : m_output.Print(Text())) || m_outputGone || m_failed) {
        return kExitFailure;
    }
    if (!m_missing.empty()) {
        std::string why;
        for (const std::string& loss : Losses()) {
            why += (why.empty() ? "" : "; ") + loss;
        }
        PrintError("not everything came: " + why);
    }
    return m_missing.empty() && m_withoutPhoto == 0 ? kExitOk : kExitNotFound;
}

int Fetch(FaceRun& run, const FacePhotosOptions& options, PhotoDirectory& directory) {
    RequestRun& requests = run.Requests();
    if (!run.FindService()) {
        return requests.ExitCode();
    }
    requests.ShowProgress("asking " + run.ServiceUrl() + " for " +
                          Counted(options.ids.size(), "photo", "photos"));
    const auto send = [&run, &options](QuorAiEngine::AiHttpAdapter& adapter) {
        TagQuorAiFacePhotoParam query = QueryOf(options, run.Service());
        const unsigned int result = adapter.CloudQueryFacePhoto(&query);
        explicit_bzero(&query, sizeof query);
        return result;
    };
    PhotoCollection collection(options, directory, requests);
    const auto onParts = [&collection](const RequestParts& parts) { return collection.Take(parts); };
    if (!requests.AskParts(AI_SUB_ID_FACE_PHOTO, send, onParts)) {
        collection.TellTaken();
        return requests.ExitCode();
    }
    return collection.Conclude();
}

}  // namespace

int RunFacePhotos(const FacePhotosOptions& options) {
    PhotoDirectory directory;
    std::string message;
    if (!directory.Open(options.directory, message)) {
        PrintError(message);
        return kExitFailure;
    }
    return RunFaceRequests(options, "face photos", std::chrono::milliseconds(0),
                           [&](FaceRun& run) { return Fetch(run, options, directory); });
}

}  // namespace quor_terminal
