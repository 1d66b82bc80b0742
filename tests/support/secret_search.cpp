#include "support/secret_search.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

#include "support/delete_watch.h"
#include "support/fake_platform.h"

namespace QuorTest {

namespace {

using ::testing::IsEmpty;

constexpr std::size_t kPieceBytes = 8;

}  // namespace

SecretSearch::SecretSearch(std::vector<std::string> secrets) : m_secrets(std::move(secrets)) {}

void SecretSearch::Run(const std::function<void()>& work) {
    const DeleteWatch watch(m_secrets.front(), kPieceBytes);
    m_probe.Run(work);
    m_deleted = watch.Hits();
}

void SecretSearch::ExpectNothingLeft(const std::string& where) const {
    EXPECT_EQ(m_deleted, 0U) << where;
    for (const std::string& secret : m_secrets) {
        EXPECT_THAT(m_probe.Find(secret, kPieceBytes), IsEmpty()) << where;
    }
}

void SecretSearch::ExpectNothingFreed(const std::string& where) const {
    for (const BlockRecord& block : Fake().freedBlocks) {
        const std::string& bytes = block.contentAtFree;
        for (const std::string& secret : m_secrets) {
            EXPECT_THAT(FindPieces(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), secret,
                                   kPieceBytes),
                        IsEmpty())
                << "freed block, " << where;
        }
    }
}

}  // namespace QuorTest
