#include "platform_linux/trust_store.h"

#include <openssl/err.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

namespace quor_platform::internal {
namespace {

bool SetFailure(Failure* failure, int systemError, std::string text) {
    *failure = Failure{};
    failure->stage = Stage::kSettings;
    failure->systemError = systemError;
    failure->text = std::move(text);
    return false;
}

// "3a1b2c4d.0": the name under which a certificate directory keeps a certificate.
bool IsHashedName(const std::string& name) {
    constexpr std::size_t kHashDigits = 8;
    const auto isHex = [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); };
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return name.size() > kHashDigits + 1 && name[kHashDigits] == '.' &&
           std::all_of(name.begin(), name.begin() + kHashDigits, isHex) &&
           std::all_of(name.begin() + kHashDigits + 1, name.end(), isDigit);
}

}  // namespace

std::vector<std::string> HashedFiles(const std::string& directory) {
    std::vector<std::string> files;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        if (IsHashedName(entry->path().filename().string())) {
            files.push_back(entry->path().string());
        }
    }
    return files;
}

bool TrustDirectory(X509_STORE* store, const std::string& directory, Failure* failure) {
    std::error_code error;
    const std::filesystem::directory_iterator readable(directory, error);
    if (error) {
        return SetFailure(failure, error.value(),
                          "the CA directory " + directory + " cannot be read: " + error.message());
    }
    if (HashedFiles(directory).empty()) {
        return SetFailure(failure, 0,
                          "the CA directory " + directory + " holds no certificate under a hash name");
    }
    if (X509_STORE_load_path(store, directory.c_str()) != 1) {
        ERR_clear_error();
        return SetFailure(failure, 0, "the CA directory " + directory + " cannot be used");
    }
    return true;
}

bool TrustFile(X509_STORE* store, const std::string& file, Failure* failure) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        const std::string reason = error ? error.message() : "not a file";
        return SetFailure(failure, error.value(), "the CA file " + file + " cannot be read: " + reason);
    }
    errno = 0;
    if (!std::ifstream(file, std::ios::binary)) {
        const int systemError = errno;
        return SetFailure(
            failure, systemError,
            "the CA file " + file + " cannot be read: " + std::generic_category().message(systemError));
    }
    ERR_clear_error();
    if (X509_STORE_load_file(store, file.c_str()) != 1) {
        const unsigned long tlsError = ERR_peek_last_error();
        ERR_clear_error();
        SetFailure(failure, 0, "the CA file " + file + " holds no usable certificate");
        failure->tlsError = tlsError;
        return false;
    }
    return true;
}

}  // namespace quor_platform::internal
