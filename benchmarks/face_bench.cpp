// face_bench.cpp - what the two face requests cost the library, from the call to the observer's Update or the
// transport's door, against the floor: the same base64, the same JSON and one copy, nothing else.
//
// Roads: "identify", a picture of 1 MB on its way into a request; "photos", an answer with 12 photos of
// 340 KB on its way to the observers.
#include <cjson/cJSON.h>
#include <malloc.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/roads.h"
#include "quor_ai/ai_http_adapter.h"
#include "quor_platform/base64.h"
#include "quor_platform/http.h"
#include "quor_platform/key_management.h"
#include "quor_platform/os.h"
#include "quor_platform_linux/host.h"

namespace {

using QuorAiEngine::AiHttpAdapter;

constexpr std::size_t kPictureBytes = 1000000;
constexpr std::size_t kPhotoBytes = 340000;
constexpr unsigned int kPhotos = 12;

std::string photoAnswer;  // written before the first request
constexpr char kIdentifyAnswer[] = R"({"status":"success","results":[]})";

void Check(bool good, const char* what) {
    if (!good) {
        throw std::runtime_error(std::string(what) + " failed");
    }
}

// Bytes that do not repeat early and are the same in every run.
std::vector<unsigned char> Bytes(std::size_t count) {
    std::vector<unsigned char> bytes(count);
    unsigned int state = 1;
    for (unsigned char& byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<unsigned char>(state >> 24U);
    }
    return bytes;
}

struct Base64Text {
    explicit Base64Text(const std::vector<unsigned char>& bytes) {
        QUOR_BASE64Encode(bytes.data(), static_cast<unsigned int>(bytes.size()), &text, &length);
        Check(text != nullptr, "QUOR_BASE64Encode");
    }
    ~Base64Text() { QUOR_BASE64Free(text); }
    Base64Text(const Base64Text&) = delete;
    Base64Text& operator=(const Base64Text&) = delete;

    char* text = nullptr;
    unsigned int length = 0;
};

// A block as the transport hands an answer over; the library frees it.
char* AccountedCopy(std::string_view text) {
    const auto size = static_cast<unsigned int>(text.size() + 1);
    char* block = static_cast<char*>(OsMemMallocSetCharMon(size, 0, __LINE__, "bench"));
    Check(block != nullptr, "OsMemMallocSetCharMon");
    std::memcpy(block, text.data(), text.size());
    return block;
}

void MakePhotoAnswer() {
    const Base64Text photo(Bytes(kPhotoBytes));
    photoAnswer = R"({"status":"success","results":[)";
    for (unsigned int i = 0; i < kPhotos; ++i) {
        photoAnswer += i == 0 ? "" : ",";
        photoAnswer += R"({"photoid":"photo-)" + std::to_string(i) + R"(","status":"success","data":")";
        photoAnswer += photo.text;
        photoAnswer += "\"}";
    }
    photoAnswer += "]}";
}

class WaitingObserver final : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override {
        m_bytes = result.len;
        m_arrived.release();
    }
    unsigned int Take() {
        Check(m_arrived.try_acquire_for(std::chrono::seconds(60)), "a result");
        return m_bytes;
    }

private:
    std::counting_semaphore<> m_arrived{0};
    unsigned int m_bytes = 0;
};

template <typename Record>
void FillService(Record& record) {
    std::strcpy(record.serverAddr, "https://127.0.0.1");
    record.serverPort = 443;
    std::strcpy(record.account, "account");
    std::strcpy(record.password, "sealed");
}

// The library's side: one adapter for all roads, made by the first request.
class Library {
public:
    Library() : m_request(sizeof(tagAI_FACE_S_DETECT_INFO) + kPictureBytes) {
        quor_platform::SetLogLevel(1);
        tagAI_FACE_S_DETECT_INFO info = {};
        FillService(info);
        info.picLen = kPictureBytes;
        const std::vector<unsigned char> picture = Bytes(kPictureBytes);
        std::memcpy(m_request.data(), &info, sizeof info);
        std::memcpy(m_request.data() + sizeof info, picture.data(), picture.size());
        FillService(m_photos);
        m_photos.idCount = 1;  // the answer's photos count
        m_photos.idType = 1;
        std::strcpy(m_photos.ids[0], "photo-0");
        Adapter().Attach(m_observer);
        Check(Adapter().CloudHttpInit() == 0, "CloudHttpInit");
    }
    ~Library() {
        Adapter().CloudHttpUninit();
        Adapter().Detach(m_observer.get());
        quor_platform::Shutdown();
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    void Identify() {
        auto* info = reinterpret_cast<tagAI_FACE_S_DETECT_INFO*>(m_request.data());
        Check(Adapter().CloudFaceRecogPhoto(info) == 0 && m_observer->Take() != 0, "a recognition");
    }
    void Photos() {
        Check(Adapter().CloudQueryFacePhoto(&m_photos) == 0 && m_observer->Take() > kPhotos * kPhotoBytes,
              "a photo query");
    }

private:
    static AiHttpAdapter& Adapter() { return *AiHttpAdapter::GetInstance(); }

    std::shared_ptr<WaitingObserver> m_observer = std::make_shared<WaitingObserver>();
    std::vector<unsigned char> m_request;
    TagQuorAiFacePhotoParam m_photos = {};
};

// The floors end where the library hands on: with the body's copy, and with the photos in one block. Both
// sides get the answer as a new block, as the transport hands it over.
void IdentifyFloor(const std::vector<unsigned char>& picture, std::vector<char>& body) {
    const Base64Text text(picture);
    cJSON* root = cJSON_CreateObject();
    cJSON_AddNumberToObject(root, "limit", 1);
    cJSON_AddStringToObject(root, "data", text.text);
    char* printed = cJSON_Print(root);
    cJSON_Delete(root);
    Check(printed != nullptr, "cJSON_Print");
    const std::size_t size = std::strlen(printed) + 1;
    Check(size <= body.size(), "room");
    std::memcpy(body.data(), printed, size);
    cJSON_free(printed);
}

void PhotosFloor(std::vector<unsigned char>& photos) {
    char* answer = AccountedCopy(photoAnswer);
    cJSON* root = cJSON_Parse(answer);
    std::size_t at = 0;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, cJSON_GetObjectItem(root, "results")) {
        const char* data = cJSON_GetObjectItem(item, "data")->valuestring;
        unsigned char* bytes = nullptr;
        const int length = QUOR_BASE64Decode(data, static_cast<unsigned int>(std::strlen(data)), &bytes);
        Check(length > 0 && at + static_cast<std::size_t>(length) <= photos.size(), "QUOR_BASE64Decode");
        std::memcpy(photos.data() + at, bytes, static_cast<std::size_t>(length));
        at += static_cast<std::size_t>(length);
        QUOR_BASE64Free(bytes);
    }
    cJSON_Delete(root);
    OSMemTypeFreeMon(answer, __LINE__, "bench");
    Check(at == kPhotos * kPhotoBytes, "the answer");
}

std::vector<bench::Pair> MakePairs() {
    constexpr double kTarget = 1.2;
    const auto library = std::make_shared<std::unique_ptr<Library>>();
    const auto road = [library](void (Library::*run)()) {
        return [library, run] {
            if (*library == nullptr) {
                *library = std::make_unique<Library>();
            }
            ((**library).*run)();
        };
    };
    const auto identifyFloor = [picture = Bytes(kPictureBytes),
                                body = std::vector<char>(2 * kPictureBytes)]() mutable {
        IdentifyFloor(picture, body);
    };
    const auto photosFloor = [photos = std::vector<unsigned char>(kPhotos * kPhotoBytes)]() mutable {
        PhotosFloor(photos);
    };
    return {
        {{"identify", road(&Library::Identify)},
         {"identify-floor", bench::OnWorkers(identifyFloor)},
         4,
         kTarget},
        {{"photos", road(&Library::Photos)}, {"photos-floor", bench::OnWorkers(photosFloor)}, 1, kTarget}};
}

}  // namespace

// No network and no keys here: these stand before the platform's.
extern "C" {

unsigned int quor_http_syn_send(struct tagHTTP_S_SYN_SEND_PARAM* param) {
    const bool identifies = param->body != nullptr;
    param->rspStatus = 200;
    param->rspBody = AccountedCopy(identifies ? std::string_view(kIdentifyAnswer) : photoAnswer);
    param->rspExtra = nullptr;
    return 0;
}

unsigned int QuorOmKeymDecrypt(const char* /*domain*/, const char* /*cipher*/, unsigned int /*cipherLen*/,
                               char* plain, unsigned int* plainLen) {
    std::strcpy(plain, "password");
    *plainLen = 8;
    return 0;
}

}  // extern "C"

int main(int argc, char** argv) {
    // As docs/architecture.md advises hosts: otherwise what is measured is mostly how the C library gives
    // large blocks back to the system after each request and takes new ones for the next.
    mallopt(M_ARENA_MAX, 1);
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 64 << 20);
    try {
        MakePhotoAnswer();
        return bench::Main(MakePairs(), argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "face_bench: %s\n", error.what());
        return 1;
    }
}
