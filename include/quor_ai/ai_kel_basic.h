// ai_kel_basic.h - AiKelBasic: the real-time channel to the conference management server.
//
// Purpose: opens and closes the link, subscribes topics, sends large-model requests and the capability
// report, parses what arrives and hands it to observers.
//
// Use, in this order: GetInstance; Attach; KelBasicGenerateSubscribeMap once; UpdateKelLoginInfo;
// KelBasicCreateWebsocket; wait for AI_SUB_ID_WS_CONNECTED; for each service KelBasicExecuteSubscribeFunc and
// KelBasicAddSubsEvent; at the end KelBasicDestroyWebsocket and Detach. When the server closes the link:
// destroy, create, wait for AI_SUB_ID_WS_CONNECTED again, then KelBasicExecuteAllSubFunc.
//
// Threads: operations belong to the application's control thread. KelBasicDisposeMsg runs on one thread, that
// of the platform's link events; observers run on it too, inside the call, while no lock of this class is
// held. The following is read or written by both sides without a lock, so the application keeps them apart:
// - the observers: attach before the first link, detach after the last one. A notification may still run when
//   KelBasicDestroyWebsocket returns: take the platform's event handler away, or stop the platform, before
//   the detach;
// - the destinations and the channel state: subscribe and unsubscribe from inside Update (the event thread),
//   or while no frames flow. A subscription made inside Update must come after KelBasicCreateWebsocket
//   returned when frames of unknown destinations can arrive, because that call empties the memory of them
//   last;
// - the link ids: read them from AI_SUB_ID_WS_CONNECTED, not from elsewhere.
// Opening and closing a link writes the link ids on the control thread: a program that does so while frames
// flow keeps the events out meanwhile.
//
// Recovery takes the conference id and the token from the channel state. A program that subscribes neither
// check-in nor sites, or not the overlay, writes uuid and confKey there itself.
//
// Links are destroyed, or the platform is stopped, before the process runs its exit handlers: they destroy
// the instance and the observers.
//
// Locks owned: m_observersLock (Attach, Detach), m_subsEventsLock (the list of wanted services; held while
// KelBasicExecuteAllSubFunc subscribes, at least a second when large-model answers are among them),
// m_subAliveMapLock (the counters). They are never held together, except that KelBasicExecuteAllSubFunc takes
// m_subAliveMapLock inside m_subsEventsLock.
//
// Results: 0 success, 1 failure, unless said otherwise. A failure is logged where it happens and again by
// each operation that it ends; nothing is retried and nothing is rolled back. The class throws nothing of its
// own; what an observer throws, or a standard container without memory, ends at KelBasicDisposeMsg and passes
// through the others.
#ifndef QUOR_AI_AI_KEL_BASIC_H
#define QUOR_AI_AI_KEL_BASIC_H

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "quor_ai/export.h"
#include "quor_ai/ids.h"
#include "quor_ai/observer.h"
#include "quor_ai/records.h"
#include "quor_ai/result.h"
#include "quor_platform/os.h"
#include "quor_platform/websocket.h"

struct cJSON;
struct tagRestStompMessage;

namespace QuorAiEngine {

using ::TagQuorOmNmsWebsocketHeader;
using ::TagQuorOmNmsWebsocketInfo;
using ::TagQuorOmNmsWebsocketStompFrame;

// Events of a link, as the platform's WebSocket client numbers them.
enum KelLinkEvent : unsigned int { KelEventConnect = 28, KelEventDisconnect = 29, KelEventReceive = 30 };

struct KelSubNode;

// The real-time channel. The head of this file says how it is used and by which threads.
class AiKelBasic {
public:
    // The one instance, made by the first call and kept until the process ends. Thread-safe.
    QUOR_AI_API static AiKelBasic* GetInstance();

    AiKelBasic(const AiKelBasic&) = delete;
    AiKelBasic& operator=(const AiKelBasic&) = delete;

    // ---- Observers ----

    // Adds observer at the end; shares its ownership until Detach. Added twice, it is called twice. Returns
    // 0.
    QUOR_AI_API int Attach(std::shared_ptr<ICloudSrvObserver> observer);

    // Removes the first entry of observer. Returns 0, or 1 when it is not attached. The observer may be
    // destroyed inside the call, after the lock was given up.
    QUOR_AI_API int Detach(const ICloudSrvObserver* observer);

    // Calls Update of every attached observer, in order, on this thread, without a lock. data stays the
    // caller's.
    QUOR_AI_API void Notify(TagQuorAiSubId id, unsigned char* data, unsigned int len);

    // ---- Services wanted, and recovery ----

    // Fills the tables of subscribe operations and labels. Once, before the first link: the timer thread
    // reads them.
    QUOR_AI_API void KelBasicGenerateSubscribeMap();

    // Remembers a service for KelBasicExecuteAllSubFunc; twice added is twice subscribed. Returns the result
    // of giving the lock up, 0.
    QUOR_AI_API unsigned int KelBasicAddSubsEvent(TagQuorAiSubId id);

    // Forgets the first entry of a service, if there is one.
    QUOR_AI_API void KelBasicDeleteSubsEvent(TagQuorAiSubId id);

    // Runs the subscribe operation of subInfo->subId and, on success, starts its counter at 0. subInfo is
    // read during the call only. Returns 1 for a null record, an id without operation (also an id outside the
    // tables) and a failed operation.
    QUOR_AI_API unsigned int KelBasicExecuteSubscribeFunc(const TagQuorAiSubscribeInfo* subInfo);

    // Subscribes every remembered service again, in the order added, with the conference id, token, uri and
    // languages of the channel state. Returns 1, before anything was sent, when the state does not fit a
    // request, and at the first service that fails; a service whose language does not fit is passed over.
    QUOR_AI_API unsigned int KelBasicExecuteAllSubFunc();

    // ---- Link ----

    // Stores a copy of the login record in the channel state, for the application's own use: the channel does
    // not read it. Returns 0, or 1 when the copy failed.
    QUOR_AI_API unsigned int UpdateKelLoginInfo(const TagQuorAiKelLoginInfo& info);

    // The channel state itself, not a copy; valid for the life of the process.
    QUOR_AI_API static TagQuorAiKelBasicInfo* KelGetBasicInfo();

    // Opens the link that info describes and starts the 10-minute report of the counters. info is read during
    // the call only; the stored record is not used. The link is ready when observers receive
    // AI_SUB_ID_WS_CONNECTED, which may happen before the call returns. Decrypted and encoded credentials are
    // wiped before it returns. A report that cannot be started does not fail the call.
    QUOR_AI_API unsigned int KelBasicCreateWebsocket(TagQuorAiKelLoginInfo* info);

    // Closes the conference link and stops the report. Returns 0 also when there is no link; 1 when the
    // platform refused, and then everything stays as it is. A manager link is not touched.
    QUOR_AI_API unsigned int KelBasicDestroyWebsocket();

    // The entry for link events: the program hands every event of both links to it, from one thread. For a
    // receive event data is the frame's NUL-terminated text, which stays the caller's; it is not used for the
    // others. Observers run inside the call.
    QUOR_AI_API static void KelBasicDisposeMsg(unsigned int event, unsigned int linkId, unsigned int linkType,
                                               void* data);

    // ---- Topics ----

    // What KelBasicExecuteSubscribeFunc runs; public for programs that keep their own tables. A topic
    // subscribed directly is delivered but not counted. subInfo is read during the call only. The result 0
    // says that the frame is on its way, not that the server took it. 1: a null record, a destination of more
    // than 255 bytes, no token, or the platform refused the frame; what was stored of the record then stays,
    // and so does the handler of the topic when the platform refuses the frame.

    // Check-ins of conference confId; the token is the login client's. Stores confId as the channel state's
    // uuid.
    QUOR_AI_API int KelStompSubscribeCheckin(const TagQuorAiSubscribeInfo* subInfo);

    // Captions in language of conference confId when subId is AI_SUB_ID_CAPTION, else translations into it.
    // Stores language as the channel state's srcLang or dstLang.
    QUOR_AI_API int KelStompSubscribeAiCaption(const TagQuorAiSubscribeInfo* subInfo);

    // Control changes of conference confId. The next one is logged as a change whatever was there before.
    QUOR_AI_API int KelStompSubscribeConfCtrlStatus(const TagQuorAiSubscribeInfo* subInfo);

    // Changes of the sites of conference confId. Stores confId as the channel state's uuid.
    QUOR_AI_API int KelStompSubscribeConfSiteStatus(const TagQuorAiSubscribeInfo* subInfo);

    // The overlay switch of the terminal whose id stands in confId; only switches for the uri of the
    // capability report reach observers. Stores token as the channel state's confKey. The spelling is part of
    // the interface.
    QUOR_AI_API int KelStompSubscribeCaptinOverlay(const TagQuorAiSubscribeInfo* subInfo);

    // Asks for large-model answers to uri in conference confId on the conference link: five frames, 200 ms
    // apart, on the caller's thread.
    QUOR_AI_API int KelStompSubscribeLLMResult(const TagQuorAiSubscribeInfo* subInfo);

    // Does nothing and returns 0: the manager link needs no subscription.
    QUOR_AI_API int ManagerStompSubscribeLLMResult(const TagQuorAiSubscribeInfo* subInfo);

    // Ends the subscription of a service: removes its handler, then sends the UNSUBSCRIBE (with an empty
    // destination when the service was never subscribed), then removes its counter. Returns 1 when a step
    // failed.
    QUOR_AI_API unsigned int KelStompUnSubscribeService(TagQuorAiSubId subId);

    // ---- Capability report and large model ----

    // Tells the server that this terminal can pause the caption overlay, and stores subInfo->uri as the
    // terminal's own, also when a later step fails. The server's verdict is logged, observers are not told.
    // Returns 0 when the frame is on its way, 1 otherwise.
    QUOR_AI_API int KelStompAiAbilityReport(const TagQuorAiSubscribeInfo* subInfo);

    // Sends one request over the conference link; answers come as AI_SUB_ID_LLM_RESULT_KEL. params is read
    // during the call only. Returns 0 when the frame is on its way; 1 for a null record, an unknown request
    // type, a field that is not terminated, a body of more than 2048 bytes or a refused frame.
    QUOR_AI_API unsigned int KelSendLLMRequest(QuorAiModelParams* params);

    // The same over the manager link; answers come as AI_SUB_ID_LLM_RESULT_MANAGER. An unknown model is
    // refused too.
    QUOR_AI_API unsigned int ManagerSendLLMRequest(QuorAiModelParams* params);

private:
    friend class AiKelBasicTestAccess;
    friend void SubAliveCallback(void* arg) noexcept;

    using SubscribeFunc = int (AiKelBasic::*)(const TagQuorAiSubscribeInfo*);
    using BodyHandler = int (AiKelBasic::*)(const char*, unsigned int);
    using StringList = std::vector<std::string>;
    friend struct KelSubNode;
    struct TopicDescriptor;
    static const TopicDescriptor kCheckinTopic;
    static const TopicDescriptor kCaptionTopic;
    static const TopicDescriptor kTranslationTopic;
    static const TopicDescriptor kConfCtrlTopic;
    static const TopicDescriptor kConfSiteTopic;
    static const TopicDescriptor kOverlayTopic;

    AiKelBasic();
    ~AiKelBasic();

    // stomp_frame.cpp
    unsigned int KelParseStompMessgae(char* frame, unsigned int frameLen, tagRestStompMessage* msg);
    unsigned int RestStompGetHeaderStrval(char* frame, const char* headerName, char* out,
                                          unsigned int outCap);

    // registry.cpp
    unsigned int KelAddSubNode(char* destination, unsigned int subId, BodyHandler handler);
    unsigned int KelRemoveSubNode(unsigned int subId, char* outDestination, unsigned int outCap,
                                  bool removeAll);

    // dispatch.cpp
    void KelDisposeEvent(unsigned int event, unsigned int linkId, unsigned int linkType, void* data);
    void KelHandleConnect(unsigned int linkId, unsigned int linkType);
    unsigned int KelBasicWsReceive(unsigned int linkId, unsigned int linkType, void* data);
    void KelProcessJsonBody(char* destination, char* body);
    void KelDispatchBody(const char* destination, const char* body, unsigned int bodyLen);

    // session.cpp
    unsigned int KelSrvBasicSetWSInfo(TagQuorOmNmsWebsocketInfo& ws, TagQuorAiKelLoginInfo* info);
    unsigned int KelSetWsCode(TagQuorOmNmsWebsocketInfo& ws, TagQuorAiKelLoginInfo* info);
    unsigned int KelCreateWsAuthCode(char* userName, char* password, char*& code, unsigned int& codeLen);
    static void KelBasicCloseNotify();

    // liveness.cpp
    unsigned int StartSubAliveTimer();
    unsigned int StopSubAliveTimer();
    void AddSubAliveCnt(TagQuorAiSubId id);
    void PrintSubAliveCnt();
    bool TakeSubAliveReport(char* report, std::size_t capacity)
        QUOR_PLATFORM_THREAD_ATTRIBUTE(requires_capability(m_subAliveMapLock));

    // subscriptions.cpp, topic_headers.cpp
    int KelSubscribeTopic(const TopicDescriptor& topic, const TagQuorAiSubscribeInfo* subInfo);
    bool KelFillUnsubscribe(TagQuorAiSubId subId, TagQuorOmNmsWebsocketHeader& stHeader,
                            TagQuorOmNmsWebsocketStompFrame& stmFrame);
    int KelSendSubscribe(const TopicDescriptor& topic, const TagQuorOmNmsWebsocketHeader* stHeader,
                         TagQuorOmNmsWebsocketStompFrame& stmFrame);
    unsigned int KelSetHeader(TagQuorOmNmsWebsocketHeader* stHeader, int num, const StringList& names,
                              const StringList& values);
    unsigned int KelSetAiCheckinHeader(const TagQuorAiSubscribeInfo& subInfo, StringList& names,
                                       StringList& values);
    unsigned int KelSetAiCaptionHeader(const TagQuorAiSubscribeInfo* subInfo, StringList& names,
                                       StringList& values);
    unsigned int KelSetAiConfCtrlHeader(const TagQuorAiSubscribeInfo* subInfo, StringList& names,
                                        StringList& values);
    unsigned int KelSetAiConfSiteHeader(const TagQuorAiSubscribeInfo* subInfo, StringList& names,
                                        StringList& values);
    unsigned int KelSetAiCaptionOverlayHeader(const TagQuorAiSubscribeInfo* subInfo, StringList& names,
                                              StringList& values);
    unsigned int KelSetLLMSubHeader(const TagQuorAiSubscribeInfo* subInfo, StringList& names,
                                    StringList& values);
    unsigned int KelSetAbilityReportHeader(const TagQuorAiSubscribeInfo* subInfo, StringList& names,
                                           StringList& values);

    // captions.cpp, checkin.cpp
    int KelParseCheckinTextMessage(const char* body, unsigned int bodyLen);
    unsigned int ParseCheckinContent(cJSON* item, TagQuorAiGetSigninContent& entry);
    int KelVoiceParseTextMessage(const char* body, unsigned int bodyLen);
    int KelVoiceParseTransTextMessage(const char* body, unsigned int bodyLen);
    unsigned int KelParseTransTextMessage(cJSON* root, TagQuorAiKelVoiceTranslateInfo& record);

    // conference_control.cpp, sites.cpp, overlay.cpp
    int KelConfCtrlParseTextMessage(const char* body, unsigned int bodyLen);
    unsigned int KelConfCtrlJudgeText(cJSON* srcLang, cJSON* dstLang, TagQuorAiConfCtrlStatusInfo& record);
    int KelConfSiteParseTextMessage(const char* body, unsigned int bodyLen);
    unsigned int MallocSiteInfoBuffer();
    int KelCaptionOverlayParseTextMessage(const char* body, unsigned int bodyLen);

    // large_model.cpp, large_model_subscription.cpp
    struct LargeModelRoad;
    bool KelFillLLMFrame(const LargeModelRoad& road, QuorAiModelParams* params,
                         TagQuorOmNmsWebsocketStompFrame& stmFrame);
    int KelSendLLMSubscription(TagQuorOmNmsWebsocketStompFrame& stmFrame);
    unsigned int KelSetSendLLMRequestHeader(QuorAiModelParams* params, StringList& names, StringList& values);
    unsigned int ManagerSetSendLLMRequestHeader(QuorAiModelParams* params, StringList& names,
                                                StringList& values);
    unsigned int KelSetSendLLMDataBody(char** frameBody, unsigned int* bodyLen, QuorAiModelParams* params);
    unsigned int ManagerSetSendLLMDataBody(char** frameBody, unsigned int* bodyLen,
                                           QuorAiModelParams* params);
    int KelLLMAnswerParseTextMessage(const char* body, unsigned int bodyLen);

    // capability_report.cpp
    bool KelFillAbilityReport(TagQuorAiSubId subId, TagQuorOmNmsWebsocketHeader* stHeader,
                              TagQuorOmNmsWebsocketStompFrame& stmFrame);
    int KelSendAbilityReport(TagQuorOmNmsWebsocketStompFrame& stmFrame);
    unsigned int KelSetAbilityReportBody(char** frameBody, unsigned int* bodyLen, bool supportOverlayPause);
    int KelReportAbilityParseTextMessage(const char* body, unsigned int bodyLen);

    static std::vector<std::shared_ptr<ICloudSrvObserver>> m_cloudSrvObservers;
    static OsMutex m_observersLock;
    static KelSubNode m_kelSubList;           // head of the destination list: only its next is used
    static unsigned int m_linkId;             // conference link, 0 = none
    static unsigned int m_quorManagerLinkId;  // manager link, 0 = none
    static TagQuorAiKelBasicInfo m_kelBasicInfo;
    static bool m_isQuorOmNmsInit;
    static int m_lastConfCtrlStatus;  // last caption switch received, -1 = none since the subscription
    static OsMutex m_subAliveMapLock;

    SubscribeFunc m_subscribeFuncs[kQuorAiSubIdTableSize];
    std::string m_subscribeNames[kQuorAiSubIdTableSize];
    std::vector<TagQuorAiSubId> m_subsEvents QUOR_PLATFORM_THREAD_ATTRIBUTE(guarded_by(m_subsEventsLock));
    OsMutex m_subsEventsLock;
    OsRelTimer m_subAliveTimerId;
    std::map<TagQuorAiSubId, unsigned int> m_subAliveMap
        QUOR_PLATFORM_THREAD_ATTRIBUTE(guarded_by(m_subAliveMapLock));
    TagQuorAiSiteInfoList* m_siteInfoBuffer;
};

}  // namespace QuorAiEngine

#endif
