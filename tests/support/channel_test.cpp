#include "support/channel_test.h"

#include <cstring>

namespace QuorTest {

ChannelTest::ChannelTest() {
    InstallCJsonHooks();
    Access::Reset();
    Fake().Reset();
}

ChannelTest::~ChannelTest() {
    CheckLogArguments();
    Fake().ClearFaults();
    EXPECT_EQ(Fake().LocksHeld(), 0U);
    EXPECT_THAT(Fake().violations, IsEmpty());
    Access::Reset();
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U) << "accounted blocks leaked";
    EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U) << "JSON memory leaked";
    EXPECT_EQ(Fake().LiveStrdups(), 0U) << "duplicated texts leaked";
    Fake().Reset();
}

void ChannelTest::CheckLogArguments() {
    for (const LogLine& line : Fake().logs) {
        EXPECT_TRUE(line.module == kKelModule || line.module == kCommonModule) << line;
        EXPECT_EQ(line.moduleLen, line.module == kKelModule ? 21U : 24U) << line;
        EXPECT_EQ(line.fileId, 0x4321U) << line;
        EXPECT_GT(line.line, 0U) << line;
    }
    for (const std::string& name : Fake().logFileNames) {
        EXPECT_EQ(name, "AiLog.log");
    }
    EXPECT_EQ(Fake().CountOf(Fn::LogFileId),
              Fake().CountOf(Fn::ModuleLog) + Fake().CountOf(Fn::GeneralLog) + Fake().CountOf(Fn::StormLog));
}

void ChannelTest::Watch() {
    Kel().Attach(observer);
    Fake().ClearRecords();
}

void ChannelTest::Connect(unsigned linkId) {
    Access::LinkId() = linkId;
}

void ChannelTest::Subscribe(TagQuorAiSubId id) {
    Kel().KelBasicGenerateSubscribeMap();
    const TagQuorAiSubscribeInfo info = SubscribeInfo(id);
    ASSERT_EQ(Kel().KelBasicExecuteSubscribeFunc(&info), 0U);
    Fake().ClearRecords();
}

void ChannelTest::Receive(const std::string& frame, unsigned linkId, unsigned linkType) {
    std::string data = frame;
    AiKelBasic::KelBasicDisposeMsg(QuorAiEngine::KelEventReceive, linkId, linkType, data.data());
}

}  // namespace QuorTest
