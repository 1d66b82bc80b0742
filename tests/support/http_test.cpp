#include "support/http_test.h"

#include <array>
#include <utility>

namespace QuorTest {

namespace {

constexpr std::array<const char*, 4> kModules = {kUtilityModule, "quor_ai_http_adapter.cpp",
                                                 "quor_ai_cloud_face_srv_detect.cpp", kCommonModule};

}  // namespace

LogLine UE(std::string text) {
    return E(std::move(text), kUtilityModule);
}
LogLine UI(std::string text) {
    return I(std::move(text), kUtilityModule);
}
LogLine US(std::string text) {
    LogLine line = E(std::move(text), kUtilityModule);
    line.kind = LogKind::kStorm;
    return line;
}

HttpTest::HttpTest() {
    InstallCJsonHooks();
    HttpAccess::Reset();
    Fake().Reset();
}

HttpTest::~HttpTest() {
    CheckLogArguments();
    Fake().ClearFaults();
    HttpAccess::Reset();
    CheckClean();
    Fake().Reset();
}

void HttpTest::CheckLogArguments() {
    for (const LogLine& line : Fake().logs) {
        EXPECT_THAT(kModules, ::testing::Contains(line.module)) << line;
        EXPECT_EQ(line.moduleLen, line.module.size()) << line;
        EXPECT_EQ(line.fileId, 0x4321U) << line;
        EXPECT_GT(line.line, 0U) << line;
    }
    for (const std::string& name : Fake().logFileNames) {
        EXPECT_EQ(name, "AiLog.log");
    }
    EXPECT_EQ(Fake().CountOf(Fn::LogFileId),
              Fake().CountOf(Fn::ModuleLog) + Fake().CountOf(Fn::GeneralLog) + Fake().CountOf(Fn::StormLog));
}

void HttpTest::CheckClean(const std::string& where) {
    EXPECT_EQ(Fake().LocksHeld(), 0U) << where;
    EXPECT_THAT(Fake().violations, IsEmpty()) << where;
    EXPECT_THAT(Network().Held(), IsEmpty()) << where << ": requests that nobody answered";
    for (const HttpRequest& request : Network().requests) {
        EXPECT_EQ(request.releases, request.synchronous ? 0U : 1U) << where;
    }
    EXPECT_EQ(Fake().LiveBlocks().size(), 0U) << where << ": accounted blocks leaked";
    EXPECT_EQ(Fake().LiveCJsonBlocks(), 0U) << where << ": JSON memory leaked";
    EXPECT_EQ(Fake().LiveStrdups(), 0U) << where << ": duplicated texts leaked";
}

bool HttpTest::Wiped(std::size_t size, const std::string& text) {
    for (const WipeRecord& wipe : Fake().wipes) {
        if (wipe.sizeBytes == size && wipe.before.compare(0, text.size(), text) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace QuorTest
