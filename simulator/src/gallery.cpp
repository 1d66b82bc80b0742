#include "gallery.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include "json_node.h"
#include "quor_simulator/simulator.h"

namespace quor_simulator {
namespace {

constexpr std::size_t kMaxFileBytes = 16U << 20;

/* limit: so many bytes and no more. */
std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string bytes(kMaxFileBytes + 1, '\0');
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(file.gcount()));
    if (!file.is_open() || file.bad()) {
        throw Error(path + ": cannot be read");
    }
    if (bytes.size() > kMaxFileBytes) {
        throw Error(path + ": is longer than " + std::to_string(kMaxFileBytes) + " bytes");
    }
    return bytes;
}

FacePerson ReadPerson(const JsonNode& node, const std::string& directory) {
    node.AllowOnly({"userid", "name", "photos"});
    FacePerson person;
    person.userId = node.Member("userid").Text();
    person.name = node.Member("name").Text();
    for (const JsonNode& item : node.Member("photos").Items()) {
        item.AllowOnly({"photoid", "file"});
        FacePhoto photo;
        photo.id = item.Member("photoid").Text();
        photo.file = directory + "/" + item.Member("file").Text();
        photo.data = ReadFile(photo.file);
        person.photos.push_back(std::move(photo));
    }
    return person;
}

/* What an error calls it. */
std::string NameOf(const FacePhoto& photo) {
    return photo.file.empty() ? "photo \"" + photo.id + "\"" : photo.file;
}

}  // namespace

Gallery ReadGallery(const std::string& directory) {
    const std::string path = directory + "/gallery.json";
    const std::string text = ReadFile(path);
    Json document;
    try {
        document = Json::parse(text);
    } catch (const Json::parse_error& error) {
        throw Error(path + ": " + error.what());
    }
    const JsonNode root(document, path);
    root.AllowOnly({"about", "people"});
    Gallery gallery;
    for (const JsonNode& item : root.Member("people").Items()) {
        gallery.push_back(ReadPerson(item, directory));
    }
    return gallery;
}

std::string FillerPhoto(std::size_t bytes, std::size_t place) {
    std::string photo(bytes, '\0');
    std::size_t state = place;
    for (char& byte : photo) {
        state = (state * 1103515245U + 12345U) & 0x7fffffffU;
        byte = static_cast<char>(state >> 16U & 0xffU);
    }
    return photo;
}

FaceIndex::FaceIndex(Gallery people) : m_people(std::move(people)) {
    for (const FacePerson& person : m_people) {
        if (person.userId.empty() || person.photos.empty()) {
            throw Error("person \"" + person.userId + "\": needs a user id and a photo");
        }
        if (!m_users.emplace(person.userId, &person.photos.front()).second) {
            throw Error("person \"" + person.userId + "\": occurs twice");
        }
        std::vector<PictureHash>& hashes = m_hashes.emplace_back();
        for (const FacePhoto& photo : person.photos) {
            if (photo.id.empty() || !m_photos.emplace(photo.id, &photo).second) {
                throw Error(NameOf(photo) + ": its id \"" + photo.id + "\" is empty or occurs twice");
            }
            try {
                hashes.push_back(HashPicture(photo.data));
            } catch (const Error& error) {
                throw Error(NameOf(photo) + ": " + error.what());
            }
        }
    }
}

std::vector<FaceIndex::Match> FaceIndex::Rank(const PictureHash& picture) const {
    std::vector<Match> matches = Everybody();
    for (std::size_t i = 0; i < matches.size(); ++i) {
        for (std::size_t j = 0; j < m_hashes[i].size(); ++j) {
            const double score = Score(picture, m_hashes[i][j]);
            if (score > matches[i].score) {
                matches[i].score = score;
                matches[i].photoId = m_people[i].photos[j].id;
            }
        }
    }
    std::stable_sort(matches.begin(), matches.end(),
                     [](const Match& a, const Match& b) { return a.score > b.score; });
    return matches;
}

std::vector<FaceIndex::Match> FaceIndex::Everybody() const {
    std::vector<Match> everybody;
    for (const FacePerson& person : m_people) {
        everybody.push_back({person.userId, person.photos.front().id, person.name, 0});
    }
    return everybody;
}

const FacePhoto* FaceIndex::Find(const Photos& photos, const std::string& id) {
    const auto found = photos.find(id);
    return found == photos.end() ? nullptr : found->second;
}

}  // namespace quor_simulator
