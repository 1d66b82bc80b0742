// http_test.h - the fixture of every test of what talks HTTP: fresh platform, nobody counted as user of the
// transport, and after the test the checks that hold for all of them.
#ifndef TESTS_SUPPORT_HTTP_TEST_H
#define TESTS_SUPPORT_HTTP_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/builders.h"
#include "support/fake_network.h"
#include "support/fake_platform.h"
#include "support/http_protocol_access.h"

namespace QuorTest {

using HttpAccess = QuorAiEngine::HttpProtocolTestAccess;
using QuorAiEngine::HttpProtocol;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

inline constexpr const char* kUtilityModule = "quor_ai_cloud_srv_utility.cpp";

// Lines of the utilities as tests write them down; S: the storm log.
LogLine UE(std::string text);
LogLine UI(std::string text);
LogLine US(std::string text);

class HttpTest : public ::testing::Test {
protected:
    HttpTest();
    ~HttpTest() override;

    // Every log line names a known module with its length, the cut file id and a line; one file id was
    // fetched for each.
    static void CheckLogArguments();
    // No lock held, no misuse, nothing leaked, every answered request released once.
    static void CheckClean(const std::string& where = {});
    // Whether some wipe covered size bytes that began with text.
    static bool Wiped(std::size_t size, const std::string& text);

    static std::vector<LogLine>& Logs() { return Fake().logs; }
};

}  // namespace QuorTest

#endif
