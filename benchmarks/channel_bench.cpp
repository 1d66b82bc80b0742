// channel_bench.cpp - what an inbound message costs from KelBasicDisposeMsg to an observer's Update, against
// the floor: duplicate the text, parse its JSON, delete the tree, nothing else.
//
// Without arguments: times both in turns and prints the ratios. With "count ROAD N": runs one road N times
// and nothing else, for an instruction counter; the difference between two N divides out the start of the
// program.
#include <cjson/cJSON.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/message_makers.h"
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
using Clock = std::chrono::steady_clock;

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

struct Road {
    std::string_view name;
    std::function<void()> run;
};

std::vector<Road> MakeRoads() {
    std::vector<Road> roads;
    const auto add = [&roads](std::string_view road, std::string_view floor, std::string_view destination,
                              const std::string& body) {
        auto frame = std::make_shared<std::string>(bench::MakeFrame(destination, body));
        const std::size_t bodyOffset = frame->size() - body.size();
        roads.push_back({road, [frame] { Deliver(*frame); }});
        roads.push_back({floor, [frame, bodyOffset] { Floor(*frame, bodyOffset); }});
    };
    add("caption", "caption-floor", kCaptionDestination, bench::MakeCaptionBody());
    add("sites1600", "sites1600-floor", kSitesDestination, bench::MakeSitesBody(1600));
    add("sites200", "sites200-floor", kSitesDestination, bench::MakeSitesBody(200));
    return roads;
}

double MedianNanoseconds(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

double TimeOnce(const Road& road, unsigned int repetitions) {
    const auto start = Clock::now();
    for (unsigned int i = 0; i < repetitions; ++i) {
        road.run();
    }
    const std::chrono::duration<double, std::nano> elapsed = Clock::now() - start;
    return elapsed.count() / repetitions;
}

// Both roads in turns, so that a slow moment of the machine falls on both.
void PrintRatio(const Road& road, const Road& floor, unsigned int repetitions) {
    constexpr int kRounds = 41;
    std::vector<double> roadSamples;
    std::vector<double> floorSamples;
    for (int i = 0; i < kRounds; ++i) {
        roadSamples.push_back(TimeOnce(road, repetitions));
        floorSamples.push_back(TimeOnce(floor, repetitions));
    }
    const double roadTime = MedianNanoseconds(roadSamples);
    const double floorTime = MedianNanoseconds(floorSamples);
    std::printf("time %-10.*s %11.0f ns  floor %11.0f ns  ratio %.3f\n", static_cast<int>(road.name.size()),
                road.name.data(), roadTime, floorTime, roadTime / floorTime);
}

int Count(const std::vector<Road>& roads, std::string_view name, std::string_view number) {
    unsigned int repetitions = 0;
    const auto parsed = std::from_chars(number.data(), number.data() + number.size(), repetitions);
    const auto road =
        std::find_if(roads.begin(), roads.end(), [name](const Road& r) { return r.name == name; });
    if (road == roads.end() || parsed.ec != std::errc{}) {
        std::fputs("usage: channel_bench [count ROAD N]\n", stderr);
        return 2;
    }
    for (unsigned int i = 0; i < repetitions; ++i) {
        road->run();
    }
    return 0;
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

    const std::vector<Road> roads = MakeRoads();
    if (argc == 4 && std::string_view(argv[1]) == "count") {
        return Count(roads, argv[2], argv[3]);
    }
    PrintRatio(roads[0], roads[1], 2000);
    PrintRatio(roads[2], roads[3], 4);
    PrintRatio(roads[4], roads[5], 32);
    if (observer->Results() == 0) {
        std::fputs("channel_bench: nothing was delivered\n", stderr);
        return 1;
    }
    return 0;
}
