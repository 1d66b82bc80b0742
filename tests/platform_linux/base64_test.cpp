#include "quor_platform/base64.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

#include "quor_platform/os.h"
#include "quor_platform_linux/host.h"
#include "tests/platform_linux/support/guarded_buffer.h"

namespace {

std::string Encode(std::string_view bytes) {
    char* out = nullptr;
    unsigned int length = 0;
    const unsigned int result = QUOR_BASE64Encode(reinterpret_cast<const unsigned char*>(bytes.data()),
                                                  static_cast<unsigned int>(bytes.size()), &out, &length);
    EXPECT_EQ(result, length);
    EXPECT_EQ(out == nullptr, result == 0);
    std::string text = out != nullptr ? std::string(out, length) : "";
    if (out != nullptr) {
        EXPECT_EQ(out[length], '\0');
    }
    QUOR_BASE64Free(out);
    return text;
}

// "refused" for a text that does not decode, which no test encodes.
std::string Decode(std::string_view text) {
    GuardedBuffer memory(text.size() + 1);
    unsigned char* out = nullptr;
    const int length = QUOR_BASE64Decode(memory.Place(text), static_cast<unsigned int>(text.size()), &out);
    if (length <= 0) {
        EXPECT_EQ(out, nullptr);
        return "refused";
    }
    EXPECT_EQ(out[length], 0);
    std::string bytes(reinterpret_cast<const char*>(out), static_cast<std::size_t>(length));
    OSMemTypeFreeMon(out, __LINE__, "base64_test");
    return bytes;
}

TEST(Base64, KnowsTheVectorsOfRfc4648) {
    const std::string_view text = "foobar";
    const char* encoded[] = {"Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
    for (std::size_t i = 0; i < text.size(); ++i) {
        EXPECT_EQ(Encode(text.substr(0, i + 1)), encoded[i]);
        EXPECT_EQ(Decode(encoded[i]), text.substr(0, i + 1));
    }
}

TEST(Base64, RoundTripsEveryLengthAndByte) {
    std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): every run has to test the same
    for (std::size_t size = 1; size < 600; ++size) {
        std::string bytes(size, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        const std::string text = Encode(bytes);
        EXPECT_EQ(text.size(), (size + 2) / 3 * 4);
        EXPECT_EQ(text.find('\n'), std::string::npos);
        EXPECT_EQ(Decode(text), bytes);
    }
}

TEST(Base64, DecodesStrictly) {
    for (const std::string_view bad :
         {"",         "Z",    "Zg",      "Zg=",  "Zm9",      "Zm9vZ",        "====",    "=m9v",       "Z===",
          "Zg==Zg==", "Zg=v", "Zm=v",    "Z=9v", " Zm9v",    "Zm9v ",        "Zm9v\n",  "Zm9v\nZm9v", "Zm 9",
          "Zm9-",     "Zm9_", "Zm9\x80", "Zm9.", "Zm9v====", "Zm9v\r\n\r\n", "\t\t\t\t"}) {
        EXPECT_EQ(Decode(bad), "refused") << bad;
    }
    EXPECT_EQ(Decode(std::string_view("Zm\0v", 4)), "refused");
}

TEST(Base64, RefusesUnusedBitsThatAreSet) {
    EXPECT_EQ(Decode("Zg=="), "f");
    for (const std::string_view bad : {"Zh==", "Zi==", "Zj==", "Zv==", "Zm9=", "Zm+=", "Zm/="}) {
        EXPECT_EQ(Decode(bad), "refused") << bad;
    }
}

// Every text of four characters of a small alphabet: decodes exactly when encoding its bytes gives it back.
TEST(Base64, AcceptsExactlyWhatItEncodes) {
    const std::string_view alphabet = "AQghv/+=\n-";
    std::string text(4, ' ');
    for (std::size_t number = 0; number < 10000; ++number) {
        std::size_t rest = number;
        for (char& c : text) {
            c = alphabet[rest % 10];
            rest /= 10;
        }
        const std::string bytes = Decode(text);
        if (bytes != "refused") {
            ASSERT_EQ(Encode(bytes), text);
        }
    }
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; second += 5) {
            const char bytes[] = {static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(Decode(Encode(std::string_view(bytes, 2))), std::string_view(bytes, 2));
        }
    }
}

TEST(Base64, RefusesNullAndTooMuch) {
    const auto* in = reinterpret_cast<const unsigned char*>("abc");
    auto* out = const_cast<char*>("old");
    unsigned int length = 9;
    EXPECT_EQ(QUOR_BASE64Encode(nullptr, 3, &out, &length), 0U);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(QUOR_BASE64Encode(in, 0, &out, &length), 0U);
    EXPECT_EQ(QUOR_BASE64Encode(in, 3, nullptr, &length), 0U);
    EXPECT_EQ(QUOR_BASE64Encode(in, 3, &out, nullptr), 0U);
    EXPECT_EQ(QUOR_BASE64Encode(in, 0xFFFFFFFFU, &out, &length), 0U) << "refused before it is read";
    EXPECT_EQ(out, nullptr);
    unsigned char* bytes = nullptr;
    EXPECT_LE(QUOR_BASE64Decode(nullptr, 4, &bytes), 0);
    EXPECT_LE(QUOR_BASE64Decode("Zm9v", 4, nullptr), 0);
    EXPECT_LE(QUOR_BASE64Decode("Zm9v", 0xFFFFFFFCU, &bytes), 0) << "refused before it is read";
    QUOR_BASE64Free(nullptr);
}

TEST(Base64, OutputsAreAccounted) {
    const std::size_t before = quor_platform::HeapLiveBytes();
    char* text = nullptr;
    unsigned int length = 0;
    EXPECT_EQ(QUOR_BASE64Encode(reinterpret_cast<const unsigned char*>("abcd"), 4, &text, &length), 8U);
    EXPECT_EQ(quor_platform::HeapLiveBytes(), before + 9);
    unsigned char* bytes = nullptr;
    EXPECT_EQ(QUOR_BASE64Decode(text, length, &bytes), 4);
    EXPECT_EQ(quor_platform::HeapLiveBytes(), before + 9 + 5);
    QUOR_BASE64Free(text);
    QUOR_BASE64Free(bytes);
    EXPECT_EQ(quor_platform::HeapLiveBytes(), before);
}

}  // namespace
