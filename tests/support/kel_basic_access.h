// kel_basic_access.h - the way of tests to AiKelBasic's private members, which name this class a friend.
#ifndef TESTS_SUPPORT_KEL_BASIC_ACCESS_H
#define TESTS_SUPPORT_KEL_BASIC_ACCESS_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "conference_channel/registry.h"
#include "conference_channel/stomp_frame.h"
#include "quor_ai/ai_kel_basic.h"

#define QUOR_TEST_UNGUARDED QUOR_PLATFORM_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace QuorAiEngine {

class AiKelBasicTestAccess {
public:
    using Channel = AiKelBasic;
    using BodyHandler = AiKelBasic::BodyHandler;
    using SubscribeFunc = AiKelBasic::SubscribeFunc;
    using StringList = AiKelBasic::StringList;

    static AiKelBasic& Kel() { return *AiKelBasic::GetInstance(); }

    // As after the process started: no observer, no node, no link, no counter, empty state and tables. Call
    // it while the fake platform still knows the blocks that the channel holds.
    static void Reset() QUOR_TEST_UNGUARDED;

    // ---- The topics' parts ----
    static constexpr BodyHandler kCheckin = &AiKelBasic::KelParseCheckinTextMessage;
    static constexpr BodyHandler kVoice = &AiKelBasic::KelVoiceParseTextMessage;
    static constexpr BodyHandler kTranslation = &AiKelBasic::KelVoiceParseTransTextMessage;
    static constexpr BodyHandler kConfCtrl = &AiKelBasic::KelConfCtrlParseTextMessage;
    static constexpr BodyHandler kConfSite = &AiKelBasic::KelConfSiteParseTextMessage;
    static constexpr BodyHandler kOverlay = &AiKelBasic::KelCaptionOverlayParseTextMessage;
    static constexpr BodyHandler kLlmAnswer = &AiKelBasic::KelLLMAnswerParseTextMessage;
    static constexpr BodyHandler kReport = &AiKelBasic::KelReportAbilityParseTextMessage;
    static int Handle(BodyHandler handler, const char* body, unsigned bodyLen) {
        return (Kel().*handler)(body, bodyLen);
    }
    static int Handle(BodyHandler handler, const std::string& body) {
        return Handle(handler, body.c_str(), static_cast<unsigned>(body.size()));
    }

    // ---- Private operations ----
    static unsigned ParseFrame(char* frame, unsigned frameLen, tagRestStompMessage* msg) {
        return Kel().KelParseStompMessgae(frame, frameLen, msg);
    }
    static unsigned HeaderValue(char* frame, const char* name, char* out, unsigned outCap) {
        return Kel().RestStompGetHeaderStrval(frame, name, out, outCap);
    }
    static unsigned AddNode(char* destination, unsigned subId, BodyHandler handler) {
        return Kel().KelAddSubNode(destination, subId, handler);
    }
    static unsigned RemoveNode(unsigned subId, char* out, unsigned outCap, bool removeAll) {
        return Kel().KelRemoveSubNode(subId, out, outCap, removeAll);
    }
    static unsigned WsReceive(unsigned linkId, unsigned linkType, void* data) {
        return Kel().KelBasicWsReceive(linkId, linkType, data);
    }
    static void ProcessBody(char* destination, char* body) { Kel().KelProcessJsonBody(destination, body); }
    static unsigned SetWsInfo(TagQuorOmNmsWebsocketInfo& ws, TagQuorAiKelLoginInfo* info) {
        return Kel().KelSrvBasicSetWSInfo(ws, info);
    }
    static unsigned CreateAuthCode(char* user, char* password, char*& code, unsigned& codeLen) {
        return Kel().KelCreateWsAuthCode(user, password, code, codeLen);
    }
    static void CloseNotify() { AiKelBasic::KelBasicCloseNotify(); }
    static unsigned StartTimer() { return Kel().StartSubAliveTimer(); }
    static unsigned StopTimer() { return Kel().StopSubAliveTimer(); }
    static void CountMessage(TagQuorAiSubId id) { Kel().AddSubAliveCnt(id); }
    static void PrintCounts() { Kel().PrintSubAliveCnt(); }
    static unsigned SetHeader(TagQuorOmNmsWebsocketHeader* headers, int num, const StringList& names,
                              const StringList& values) {
        return Kel().KelSetHeader(headers, num, names, values);
    }
    static unsigned CheckinHeader(const TagQuorAiSubscribeInfo& info, StringList& names, StringList& values) {
        return Kel().KelSetAiCheckinHeader(info, names, values);
    }
    using Builder = unsigned (AiKelBasic::*)(const TagQuorAiSubscribeInfo*, StringList&, StringList&);
    static constexpr Builder kCaptionHeader = &AiKelBasic::KelSetAiCaptionHeader;
    static constexpr Builder kConfCtrlHeader = &AiKelBasic::KelSetAiConfCtrlHeader;
    static constexpr Builder kConfSiteHeader = &AiKelBasic::KelSetAiConfSiteHeader;
    static constexpr Builder kOverlayHeader = &AiKelBasic::KelSetAiCaptionOverlayHeader;
    static constexpr Builder kLlmSubHeader = &AiKelBasic::KelSetLLMSubHeader;
    static constexpr Builder kReportHeader = &AiKelBasic::KelSetAbilityReportHeader;
    static unsigned Build(Builder builder, const TagQuorAiSubscribeInfo* info, StringList& names,
                          StringList& values) {
        return (Kel().*builder)(info, names, values);
    }
    static unsigned LlmHeader(QuorAiModelParams* params, StringList& names, StringList& values) {
        return Kel().KelSetSendLLMRequestHeader(params, names, values);
    }
    static unsigned ManagerLlmHeader(QuorAiModelParams* params, StringList& names, StringList& values) {
        return Kel().ManagerSetSendLLMRequestHeader(params, names, values);
    }
    static unsigned LlmBody(char** body, unsigned* len, QuorAiModelParams* params) {
        return Kel().KelSetSendLLMDataBody(body, len, params);
    }
    static unsigned ManagerLlmBody(char** body, unsigned* len, QuorAiModelParams* params) {
        return Kel().ManagerSetSendLLMDataBody(body, len, params);
    }
    static unsigned ReportBody(char** body, unsigned* len, bool pause) {
        return Kel().KelSetAbilityReportBody(body, len, pause);
    }
    static unsigned CheckinContent(cJSON* item, TagQuorAiGetSigninContent& entry) {
        return Kel().ParseCheckinContent(item, entry);
    }
    static unsigned SiteBuffer() { return Kel().MallocSiteInfoBuffer(); }
    static unsigned JudgeText(cJSON* srcLang, cJSON* dstLang, TagQuorAiConfCtrlStatusInfo& record) {
        return Kel().KelConfCtrlJudgeText(srcLang, dstLang, record);
    }

    // ---- Private data ----
    static std::vector<std::shared_ptr<ICloudSrvObserver>>& Observers() {
        return AiKelBasic::m_cloudSrvObservers;
    }
    static OsMutex& ObserversLock() { return AiKelBasic::m_observersLock; }
    static unsigned& LinkId() { return AiKelBasic::m_linkId; }
    static unsigned& ManagerLinkId() { return AiKelBasic::m_quorManagerLinkId; }
    static TagQuorAiKelBasicInfo& State() { return AiKelBasic::m_kelBasicInfo; }
    static bool& OmNmsInit() { return AiKelBasic::m_isQuorOmNmsInit; }
    static int& LastConfCtrl() { return AiKelBasic::m_lastConfCtrlStatus; }
    static OsMutex& AliveLock() { return AiKelBasic::m_subAliveMapLock; }
    static OsMutex& EventsLock() { return Kel().m_subsEventsLock; }
    static SubscribeFunc& Func(unsigned id) { return Kel().m_subscribeFuncs[id]; }
    static std::string& Label(unsigned id) { return Kel().m_subscribeNames[id]; }
    static std::vector<TagQuorAiSubId>& Events() QUOR_TEST_UNGUARDED { return Kel().m_subsEvents; }
    static std::map<TagQuorAiSubId, unsigned>& Alive() QUOR_TEST_UNGUARDED { return Kel().m_subAliveMap; }
    static OsRelTimer& TimerId() { return Kel().m_subAliveTimerId; }
    static TagQuorAiSiteInfoList*& Sites() { return Kel().m_siteInfoBuffer; }
    static KelSubNode& ListHead() { return AiKelBasic::m_kelSubList; }
    static std::vector<KelSubNode*> Nodes();
    // "subId:destination" of every node, in list order.
    static std::vector<std::string> NodeTexts();
};

}  // namespace QuorAiEngine

#endif
