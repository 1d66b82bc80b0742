// channel_test.h - the fixture of every test of the conference channel: fresh platform, fresh channel, and
// after the test the checks that hold for all of them.
#ifndef TESTS_SUPPORT_CHANNEL_TEST_H
#define TESTS_SUPPORT_CHANNEL_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/builders.h"
#include "support/fake_platform.h"
#include "support/kel_basic_access.h"
#include "support/recording_observer.h"

namespace QuorTest {

using Access = QuorAiEngine::AiKelBasicTestAccess;
using QuorAiEngine::AiKelBasic;
using QuorAiEngine::KelSubNode;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ChannelTest : public ::testing::Test {
protected:
    ChannelTest();
    ~ChannelTest() override;

    // Every log line names a known module with its length, the cut file id and a line; one file id was
    // fetched for each.
    static void CheckLogArguments();

    // Attaches the observer of the fixture (forgets the lines that attaching wrote).
    void Watch();
    // The conference link is up under this id.
    void Connect(unsigned linkId = kLink);
    // Subscribes through the table and forgets what that wrote.
    void Subscribe(TagQuorAiSubId id);
    // A frame arrives on the conference link.
    static void Receive(const std::string& frame, unsigned linkId = kLink, unsigned linkType = 0);

    static AiKelBasic& Kel() { return Access::Kel(); }
    static std::vector<LogLine>& Logs() { return Fake().logs; }

    static constexpr unsigned kLink = 71;
    static constexpr unsigned kManagerLink = 72;
    std::shared_ptr<RecordingObserver> observer = std::make_shared<RecordingObserver>();
};

}  // namespace QuorTest

#endif
