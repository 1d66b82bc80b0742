// channel_bench.cpp - what an inbound message costs from KelBasicDisposeMsg to an observer's Update, against
// the floor: duplicate the text, parse its JSON, delete the tree, nothing else.
#include <cjson/cJSON.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/message_makers.h"
#include "benchmarks/roads.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/websocket.h"
#include "quor_platform_linux/host.h"

// No network here: these stand before the platform's, so that a subscription succeeds without a link.
extern "C" {
unsigned int QuorOmNmsWebsocketSubscribe(TagQuorOmNmsWebsocketStompFrame* /*frame*/) {
    return 0;
}
}

namespace {

using QuorAiEngine::AiKelBasic;

constexpr char kCaptionDestination[] = "/topic/conferences/914/subtitle/en-US";
constexpr char kSitesDestination[] = "/topic/conferences/914/participantslist/general";

class CountingObserver final : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override {
        ++m_results;
        m_bytes += result.len;
    }
    std::uint64_t Results() const { return m_results; }

private:
    std::uint64_t m_results = 0;
    std::uint64_t m_bytes = 0;
};

void Subscribe(TagQuorAiSubId id) {
    TagQuorAiSubscribeInfo info = {};
    info.subId = id;
    std::strcpy(info.confId, "914");
    std::strcpy(info.language, "en-US");
    std::strcpy(info.token, "token");
    if (AiKelBasic::GetInstance()->KelBasicExecuteSubscribeFunc(&info) != 0) {
        std::fputs("channel_bench: a subscription failed\n", stderr);
        std::exit(1);
    }
}

// The link id is 0 as long as no link was connected, and frames of link 0 are taken then.
void Deliver(std::string& frame) {
    AiKelBasic::KelBasicDisposeMsg(QuorAiEngine::KelEventReceive, 0, 0, frame.data());
}

void Floor(const std::string& frame, std::size_t bodyOffset) {
    char* copy = strdup(frame.c_str());
    cJSON* root = cJSON_Parse(copy + bodyOffset);
    cJSON_Delete(root);
    std::free(copy);
}

std::vector<bench::Pair> MakePairs() {
    std::vector<bench::Pair> pairs;
    const auto add = [&pairs](std::string_view road, std::string_view floor, std::string_view destination,
                              const std::string& body, unsigned int repetitions) {
        auto frame = std::make_shared<std::string>(bench::MakeFrame(destination, body));
        const std::size_t bodyOffset = frame->size() - body.size();
        pairs.push_back({{road, [frame] { Deliver(*frame); }},
                         {floor, [frame, bodyOffset] { Floor(*frame, bodyOffset); }},
                         repetitions});
    };
    add("caption", "caption-floor", kCaptionDestination, bench::MakeCaptionBody(), 2000);
    add("sites1600", "sites1600-floor", kSitesDestination, bench::MakeSitesBody(1600), 4);
    add("sites200", "sites200-floor", kSitesDestination, bench::MakeSitesBody(200), 32);
    return pairs;
}

}  // namespace

int main(int argc, char** argv) {
    quor_platform::SetLogLevel(1);
    const auto observer = std::make_shared<CountingObserver>();
    AiKelBasic* channel = AiKelBasic::GetInstance();
    channel->Attach(observer);
    channel->KelBasicGenerateSubscribeMap();
    Subscribe(AI_SUB_ID_CAPTION);
    Subscribe(AI_SUB_ID_CONF_SITE);

    const int result = bench::Main(MakePairs(), argc, argv);
    if (result == 0 && observer->Results() == 0 && argc == 1) {
        std::fputs("channel_bench: nothing was delivered\n", stderr);
        return 1;
    }
    return result;
}
