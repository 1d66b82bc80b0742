/*
 * face.h - the people whom the simulator's face service knows, and reading them from a folder. rest.h has the
 * requests about them, docs/simulator.md the folder's format.
 */
#ifndef QUOR_SIMULATOR_FACE_H
#define QUOR_SIMULATOR_FACE_H

#include <cstddef>
#include <string>
#include <vector>

namespace quor_simulator {

/* A picture of somebody. */
struct FacePhoto {
    std::string id;   /* no two photos of a gallery share one */
    std::string data; /* a PNG, JPEG or PNM file */
    std::string file; /* where it was read from, for errors; may be empty */
};

/* Somebody whom the face service knows. */
struct FacePerson {
    std::string userId;            /* no two people share one */
    std::string name;              /* as it is shown */
    std::vector<FacePhoto> photos; /* at least one; requests for the person's data get the first */
};

/* Everybody whom the face service knows. */
using Gallery = std::vector<FacePerson>;

/* What gallery.json in that folder describes. Throws Error, which names the file and what is wrong with it;
 * whether the pictures can be read shows when the gallery is set. */
Gallery ReadGallery(const std::string& directory);

/* So many bytes that are no picture, always the same ones for the same place in an answer; see
 * RestFault::photoBytes. */
std::string FillerPhoto(std::size_t bytes, std::size_t place);

}  // namespace quor_simulator

#endif
