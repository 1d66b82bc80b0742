// photo_directory.h - puts photos into a directory, under names made of ids that came over the network.
//
// A file appears whole, under its name, or not at all. Nothing is written outside the directory, and nothing
// that was there is replaced unless that is wanted.
//
// Threads: one at a time.
#ifndef QUOR_TERMINAL_PHOTO_DIRECTORY_H
#define QUOR_TERMINAL_PHOTO_DIRECTORY_H

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "descriptor.h"

namespace quor_terminal {

// A file name without folders, of plain characters, at most 127 of them; what has no place in it becomes '_'.
std::string SafeFileName(const std::string& id);

// ".jpg", ".png" or ".bin", by the first bytes.
const char* PhotoExtension(const std::vector<unsigned char>& bytes);

class PhotoDirectory {
public:
    // Opens the directory, and makes it when it is missing. False: message says what is wrong.
    bool Open(const std::string& path, std::string& message);

    // Writes bytes to a file named for id. file is its path. Two of one run never share a name. False:
    // nothing was written, and message says why.
    bool Save(const std::string& id, const std::vector<unsigned char>& bytes, bool replace, std::string& file,
              std::string& message);

private:
    bool WriteTemporary(const std::vector<unsigned char>& bytes, std::string& name, std::string& message);

    std::string m_path;
    std::unique_ptr<Descriptor> m_directory;
    std::set<std::string> m_names;  // of this run
};

}  // namespace quor_terminal

#endif
