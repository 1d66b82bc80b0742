// The bounded functions against models of one line per rule, over random arguments.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

#include "quor_platform/bounded.h"
#include "tests/platform_linux/support/guarded_buffer.h"

namespace {

constexpr int kRounds = 20000;
constexpr std::size_t kMaxSize = 40;
constexpr char kOld = 'o';

struct Outcome {
    bool success;
    std::string dest;  // the whole capacity
};

// What the rules say of a destination of capacity bytes that held kOld.
Outcome ModelSet(std::size_t capacity, char c, std::size_t count) {
    std::string dest(capacity, kOld);
    for (std::size_t i = 0; i < capacity && i < count; ++i) {
        dest[i] = c;
    }
    return {count <= capacity, dest};
}

Outcome ModelCopy(std::size_t capacity, const std::string& source, std::size_t count) {
    if (count > capacity) {
        return {false, std::string(capacity, '\0')};
    }
    return {true, source.substr(0, count) + std::string(capacity - count, kOld)};
}

Outcome ModelText(std::size_t capacity, const std::string& text) {
    std::string dest(capacity, kOld);
    if (text.size() + 1 > capacity) {
        dest[0] = '\0';
        return {false, dest};
    }
    dest.replace(0, text.size() + 1, text.c_str(), text.size() + 1);
    return {true, dest};
}

class BoundedModel : public testing::Test {
protected:
    std::size_t Below(std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(m_random);
    }

    // Random bytes, zeros among them.
    std::string RandomBytes(std::size_t size) {
        std::string bytes(size, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(Below(8) == 0 ? 0 : 'a' + Below(26));
        }
        return bytes;
    }

    // A destination at the end of memory or, every other time, at its beginning.
    char* Destination(std::size_t capacity) {
        m_dest.Fill(kOld);
        return Below(2) == 0 ? m_dest.Last(capacity) : m_dest.First();
    }

    // What lies around the destination is untouched; the destination is as the model says.
    void Check(const Outcome& model, const char* dest, std::size_t capacity, int result) {
        ASSERT_EQ(result == 0, model.success);
        ASSERT_EQ(std::string(dest, capacity), model.dest);
        const std::string all(m_dest.First(), m_dest.Size());
        const auto begin = static_cast<std::size_t>(dest - m_dest.First());
        ASSERT_EQ(all.find_first_not_of(kOld) < begin, false);
        ASSERT_EQ(all.find_first_not_of(kOld, begin + capacity), std::string::npos);
    }

    GuardedBuffer m_dest{1};
    GuardedBuffer m_src{1};
    std::mt19937 m_random{20240229};  // NOLINT(cert-msc51-cpp): every run has to test the same
};

TEST_F(BoundedModel, MemsetAgrees) {
    for (int round = 0; round < kRounds; ++round) {
        const std::size_t capacity = 1 + Below(kMaxSize);
        const std::size_t count = Below(kMaxSize + 8);
        const char c = static_cast<char>(Below(256));
        char* dest = Destination(capacity);
        const int result = memset_s(dest, capacity, c, count);
        ASSERT_NO_FATAL_FAILURE(Check(ModelSet(capacity, c, count), dest, capacity, result));
    }
}

TEST_F(BoundedModel, MemcpyAgrees) {
    for (int round = 0; round < kRounds; ++round) {
        const std::size_t capacity = 1 + Below(kMaxSize);
        const std::string source = RandomBytes(Below(kMaxSize + 8));
        char* dest = Destination(capacity);
        const int result = memcpy_s(dest, capacity, m_src.Place(source), source.size());
        ASSERT_NO_FATAL_FAILURE(Check(ModelCopy(capacity, source, source.size()), dest, capacity, result));
    }
}

TEST_F(BoundedModel, StrcpyAgrees) {
    for (int round = 0; round < kRounds; ++round) {
        const std::size_t capacity = 1 + Below(kMaxSize);
        const std::string bytes = RandomBytes(kMaxSize) + '\0';
        const std::string source = bytes.substr(Below(kMaxSize));
        const std::string text = source.substr(0, source.find('\0'));
        char* dest = Destination(capacity);
        // Only as much of the source exists as the function may read.
        const std::size_t readable = std::min(capacity, text.size() + 1);
        const int result = strcpy_s(dest, capacity, m_src.Place(source.substr(0, readable)));
        ASSERT_NO_FATAL_FAILURE(Check(ModelText(capacity, text), dest, capacity, result));
    }
}

TEST_F(BoundedModel, StrncpyAgrees) {
    for (int round = 0; round < kRounds; ++round) {
        const std::size_t capacity = 1 + Below(kMaxSize);
        const std::string bytes = RandomBytes(kMaxSize) + '\0';
        const std::size_t count = Below(kMaxSize + 8);
        const std::string text = bytes.substr(0, std::min(count, bytes.find('\0')));
        char* dest = Destination(capacity);
        const std::size_t readable = std::min(count, text.size() + 1);
        const int result = strncpy_s(dest, capacity, m_src.Place(bytes.substr(0, readable)), count);
        ASSERT_NO_FATAL_FAILURE(Check(ModelText(capacity, text), dest, capacity, result));
    }
}

TEST_F(BoundedModel, SnprintfAgrees) {
    for (int round = 0; round < kRounds; ++round) {
        const std::size_t capacity = 1 + Below(kMaxSize);
        const std::size_t count = Below(kMaxSize + 8);
        const std::string text(Below(kMaxSize + 8), 't');
        char* dest = Destination(capacity);
        const int result = snprintf_s(dest, capacity, count, "%s", text.c_str());
        const bool whole = text.size() <= count && text.size() < capacity;
        const std::string left = whole ? text : (count < capacity ? text.substr(0, count) : "");
        ASSERT_EQ(result, whole ? static_cast<int>(text.size()) : -1);
        ASSERT_STREQ(dest, left.c_str());
    }
}

TEST_F(BoundedModel, SprintfAgrees) {
    for (int round = 0; round < kRounds; ++round) {
        const std::size_t capacity = 1 + Below(kMaxSize);
        const std::string text(Below(kMaxSize + 8), 't');
        char* dest = Destination(capacity);
        const bool fits = text.size() < capacity;
        ASSERT_EQ(sprintf_s(dest, capacity, "%s", text.c_str()), fits ? static_cast<int>(text.size()) : -1);
        ASSERT_STREQ(dest, fits ? text.c_str() : "");
    }
}

}  // namespace
