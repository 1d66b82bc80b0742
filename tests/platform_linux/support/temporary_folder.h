// temporary_folder.h - an empty folder for a test, removed with its content.
#ifndef QUOR_TESTS_PLATFORM_LINUX_TEMPORARY_FOLDER_H
#define QUOR_TESTS_PLATFORM_LINUX_TEMPORARY_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string path = (std::filesystem::temp_directory_path() / "quor_platform_XXXXXX").string();
        if (mkdtemp(path.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        m_path = path;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string File(std::string_view name) const { return (m_path / name).string(); }
    const std::filesystem::path& Path() const { return m_path; }

    static std::string Read(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    static void Write(const std::string& path, std::string_view content) {
        std::ofstream(path, std::ios::binary) << content;
    }

private:
    std::filesystem::path m_path;
};

#endif
