/* face_fixture.h - a running simulator with the gallery that is shipped, and face requests. */
#ifndef QUOR_TESTS_SIMULATOR_FACE_FIXTURE_H
#define QUOR_TESTS_SIMULATOR_FACE_FIXTURE_H

#include <openssl/evp.h>

#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "http_fixture.h"

namespace quor_test {

inline const std::string kGalleryFolder = QUOR_GALLERY_FOLDER;
inline const std::string kVersionTarget = "/eua/face/v1/version";
inline const std::string kIdentifyTarget = "/eua/face/v1/query/identify";

inline std::string Base64(const std::string& bytes) {
    std::string out(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    return out.substr(0, static_cast<std::size_t>(length));
}

/* The bytes of a text without padding errors: what the tests decode was encoded well. */
inline std::string FromBase64(const std::string& text) {
    std::string out(text.size() / 4 * 3 + 1, '\0');
    const int length =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    const std::size_t padding = text.empty() ? 0 : text.size() - 1 - text.find_last_not_of('=');
    return length < 0 ? "(no base64)" : out.substr(0, static_cast<std::size_t>(length) - padding);
}

inline std::string ReadBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::string Probe(const std::string& who) {
    return ReadBytes(kGalleryFolder + "/probes/" + who + ".jpg");
}

inline std::string CredentialLines(const std::string& account = "face-service",
                                   const std::string& password = "quor-face-demo") {
    return "authAccount: " + Base64(account) + "\r\nauthPassword: " + Base64(password) + "\r\n";
}

inline std::string FaceText(const std::string& method, const std::string& target,
                            const std::string& body = "", const std::string& more = CredentialLines()) {
    return RequestText(method, target, body, "", more);
}

inline std::string VersionText() {
    return FaceText("GET", kVersionTarget);
}

inline std::string IdentifyBody(const std::string& picture, std::size_t limit = 1) {
    return R"({"limit":)" + std::to_string(limit) + R"(,"data":")" + Base64(picture) + "\"}";
}

inline std::string IdentifyText(const std::string& picture, std::size_t limit = 1) {
    return FaceText("POST", kIdentifyTarget, IdentifyBody(picture, limit));
}

inline std::string UserPhotosText(const std::string& ids) {
    return FaceText("GET", "/eua/face/v1/users/" + ids + "/data");
}

inline std::string PhotosText(const std::string& ids) {
    return FaceText("GET", "/eua/face/v1/photos/" + ids + "/data");
}

/* A grey picture of so many pixels, larger with each of them. */
inline std::string GreyPicture(std::size_t width, std::size_t height) {
    return "P5 " + std::to_string(width) + " " + std::to_string(height) + " 255\n" +
           std::string(width * height, 'x');
}

class FaceTest : public HttpTest {
protected:
    void StartWithGallery(quor_simulator::Options options = {}) {
        options.galleryDirectory = kGalleryFolder;
        Start(std::move(options));
    }
    /* The values of one member of every result. */
    template <class Value = std::string>
    static std::vector<Value> All(const Json& answer, const char* member) {
        std::vector<Value> values;
        for (const Json& result : answer.value("results", Json::array())) {
            values.push_back(result.value(member, Value{}));
        }
        return values;
    }
    using Texts = std::vector<std::string>;
    using Numbers = std::vector<double>;
};

}  // namespace quor_test

#endif
