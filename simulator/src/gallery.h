/* gallery.h - the gallery with what is needed to search it. */
#ifndef QUOR_SIMULATOR_GALLERY_H
#define QUOR_SIMULATOR_GALLERY_H

#include <map>
#include <string>
#include <vector>

#include "picture_hash.h"
#include "quor_simulator/face.h"

namespace quor_simulator {

/* Does not change after it is made, so that requests may use it without a lock. */
class FaceIndex {
public:
    FaceIndex() = default;
    /* Throws Error: an id is empty or occurs twice, somebody has no photo, a picture cannot be read. */
    explicit FaceIndex(Gallery people);
    FaceIndex(const FaceIndex&) = delete;
    FaceIndex& operator=(const FaceIndex&) = delete;

    struct Match {
        std::string userId;
        std::string photoId;
        std::string name;
        double score = 0;
    };
    /* Everybody by his best photo, the best first; of equal ones the first of the gallery first. */
    std::vector<Match> Rank(const PictureHash& picture) const;
    /* Everybody in the gallery's order, without a score. */
    std::vector<Match> Everybody() const;

    /* Null: there is none. */
    const FacePhoto* PhotoOfUser(const std::string& userId) const { return Find(m_users, userId); }
    const FacePhoto* Photo(const std::string& photoId) const { return Find(m_photos, photoId); }

private:
    using Photos = std::map<std::string, const FacePhoto*>;

    static const FacePhoto* Find(const Photos& photos, const std::string& id);

    Gallery m_people;
    std::vector<std::vector<PictureHash>> m_hashes; /* as people and photos stand in m_people */
    Photos m_users;
    Photos m_photos;
};

}  // namespace quor_simulator

#endif
