// Fuzz target: what a server may send once it is trusted. Each input is the text of one received frame, with
// every topic subscribed. Nothing may be read or written out of bounds, no lock stay held and no block stay
// allocated.
//
// The accounted heap, JSON trees and text duplicates are watched by the fake platform; records reach an
// observer that reads them to their last byte.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "quor_ai/ai_kel_basic.h"
#include "support/builders.h"
#include "support/fake_platform.h"

namespace {

using QuorAiEngine::AiKelBasic;

constexpr unsigned int kConferenceLink = 71;

class Reader : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override {
        for (unsigned int i = 0; i < result.len; ++i) {
            m_sum = m_sum + result.data[i];
        }
    }

private:
    volatile unsigned int m_sum = 0;
};

void Prepare() {
    QuorTest::InstallCJsonHooks();
    QuorTest::Fake().Reset();
    QuorTest::Fake().recordLogs = false;
    AiKelBasic* channel = AiKelBasic::GetInstance();
    channel->Attach(std::make_shared<Reader>());
    channel->KelBasicGenerateSubscribeMap();
    AiKelBasic::KelBasicDisposeMsg(QuorAiEngine::KelEventConnect, kConferenceLink, 0, nullptr);
    for (const TagQuorAiSubId id : {AI_SUB_ID_CHECKIN, AI_SUB_ID_CAPTION, AI_SUB_ID_CONF_CTRL,
                                    AI_SUB_ID_CONF_SITE, AI_SUB_ID_CAPTION_OVERLAY, AI_SUB_ID_TRANSLATION}) {
        TagQuorAiSubscribeInfo info = QuorTest::SubscribeInfo(id);
        if (id == AI_SUB_ID_TRANSLATION) {
            QuorTest::Put(info.language, "fr-FR");  // the caption's destination has the other handler
        }
        channel->KelBasicExecuteSubscribeFunc(&info);
    }
    // The first participant list makes the buffer that the channel keeps from then on.
    std::string sites = QuorTest::MessageFrame(QuorTest::kSiteDestination,
                                               QuorTest::SitesBody("1", QuorTest::SiteElements(1)));
    AiKelBasic::KelBasicDisposeMsg(QuorAiEngine::KelEventReceive, kConferenceLink, 0, sites.data());
}

void Require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::size_t blocksAtStart = [] {
        Prepare();
        return QuorTest::Fake().LiveBlocks().size();
    }();
    std::string frame(reinterpret_cast<const char*>(data), size);
    AiKelBasic::KelBasicDisposeMsg(QuorAiEngine::KelEventReceive, kConferenceLink, 0, frame.data());
    Require(QuorTest::Fake().LocksHeld() == 0, "a lock stayed held");
    Require(QuorTest::Fake().LiveBlocks().size() == blocksAtStart, "an accounted block stayed allocated");
    Require(QuorTest::Fake().LiveCJsonBlocks() == 0, "a JSON tree stayed allocated");
    Require(QuorTest::Fake().LiveStrdups() == 0, "a text duplicate stayed allocated");
    QuorTest::Fake().ClearRecords();
    return 0;
}
