// picture_file.h - a picture from a file, in the form in which a request carries it.
#ifndef QUOR_TERMINAL_PICTURE_FILE_H
#define QUOR_TERMINAL_PICTURE_FILE_H

#include <cstddef>
#include <string>
#include <vector>

namespace quor_terminal {

// The library sends a picture as base64 inside JSON, whose length is a positive 32-bit number with its sign.
inline constexpr std::size_t kLongestPicture = 1'600'000'000;

// Reads the file at path behind head bytes of zeros. False: message says what is wrong.
bool ReadPictureFile(const std::string& path, std::size_t head, std::vector<unsigned char>& bytes,
                     std::string& message);

}  // namespace quor_terminal

#endif
