/*
 * picture_hash.h - how alike two pictures are. A picture becomes a few numbers, its perceptual hash, that
 * hardly change when it is scaled, compressed again or made a little brighter; the nearer the numbers of two
 * pictures, the higher their score. All of the image library stays in the source of this header.
 *
 * Pictures come from the network: only PNG, JPEG and PNM are looked at, by their first bytes, and what would
 * need more pixels or memory than a face's picture has any use for is refused before it is decoded.
 *
 * Threads: any; one picture is looked at at a time.
 */
#ifndef QUOR_SIMULATOR_PICTURE_HASH_H
#define QUOR_SIMULATOR_PICTURE_HASH_H

#include <string_view>
#include <vector>

namespace quor_simulator {

using PictureHash = std::vector<double>;

/* Throws Error with the reason: "is no PNG, JPEG or PNM". */
PictureHash HashPicture(std::string_view file);

/* 0 to 100, with one decimal; 100: the same picture, or one that cannot be told from it. */
double Score(const PictureHash& a, const PictureHash& b);

}  // namespace quor_simulator

#endif
