// A program that uses the package as an application would: it attaches an observer, lets the library take a
// frame in, and meets the platform through its host header. Exits 0 when the caption arrived.
#include <cstdio>
#include <memory>

#include "quor_ai/ai_kel_basic.h"
#include "quor_platform_linux/host.h"

namespace {

class Screen : public QuorAiEngine::ICloudSrvObserver {
public:
    void Update(const TagAiCloudSrvResult& result) override {
        if (result.id == AI_SUB_ID_WS_CONNECTED && result.len == sizeof(unsigned int)) {
            ++m_links;
        }
    }

    int Links() const { return m_links; }

private:
    int m_links = 0;
};

}  // namespace

int main() {
    quor_platform::SetLinkEventSink(&QuorAiEngine::AiKelBasic::KelBasicDisposeMsg);
    auto screen = std::make_shared<Screen>();
    QuorAiEngine::AiKelBasic* channel = QuorAiEngine::AiKelBasic::GetInstance();
    channel->KelBasicGenerateSubscribeMap();
    channel->Attach(screen);
    QuorAiEngine::AiKelBasic::KelBasicDisposeMsg(QuorAiEngine::KelEventConnect, 1, 0, nullptr);
    channel->Detach(screen.get());
    quor_platform::Shutdown();
    std::printf("links announced: %d\n", screen->Links());
    return screen->Links() == 1 ? 0 : 1;
}
