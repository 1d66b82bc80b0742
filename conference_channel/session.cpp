// Opening and closing the link, its credentials, and the notice of its end.
#include "conference_channel/session.h"

#include <cstddef>
#include <cstring>

#include "common/record_field.h"
#include "common/scope.h"
#include "conference_channel/kel_log.h"
#include "conference_channel/registry.h"
#include "quor_ai/ai_kel_basic.h"
#include "quor_platform/base64.h"
#include "quor_platform/key_management.h"
#include "quor_platform/websocket.h"

namespace QuorAiEngine {

namespace {

constexpr char kWebsocketPath[] = "/conf-portal/websocket";
constexpr char kSeparator[] = "\n";
constexpr unsigned int kConnectParam = 20;  // what the platform's client wants in the first field
constexpr std::size_t kAuthTextCapacity = 256;

constexpr unsigned int kCloseNotifyMsgId = 0x0060003F;
constexpr char kOwnModule[] = "ai_proc_m";
constexpr char kConnectionClientModule[] = "srvConClient";

// Passwords are sealed under one of these domains, depending on who stored them; tried in this order.
constexpr const char* kKeyDomains[] = {"QuorUIConf", "QuorUILogin"};

using PasswordBuffer = SecretBuffer<QUOR_OM_KEYM_PLAIN_CAPACITY>;

// Wipes the credentials of a start-up record at the end of the scope. The record stays usable until then.
class WsCodeWiper {
public:
    explicit WsCodeWiper(TagQuorOmNmsWebsocketInfo& info) : m_info(info) {}
    ~WsCodeWiper() { WipeBytes(m_info.wsCode, sizeof(m_info.wsCode)); }
    WsCodeWiper(const WsCodeWiper&) = delete;
    WsCodeWiper& operator=(const WsCodeWiper&) = delete;

private:
    TagQuorOmNmsWebsocketInfo& m_info;
};

// An encoded credential on the accounted heap: wiped whenever it is given back.
class AuthCode {
public:
    AuthCode() : m_text(kKelLogModule.name, __LINE__) {}
    ~AuthCode() { Free(); }
    AuthCode(const AuthCode&) = delete;
    AuthCode& operator=(const AuthCode&) = delete;

    void Take(char* text, unsigned int length) {
        *m_text.Out() = text;
        m_length = length;
    }
    char* Get() const { return m_text.Get(); }
    // Hands the text to the caller, who wipes and frees it.
    char* Release() { return m_text.Release(); }
    void Free() {
        WipeBytes(m_text.Get(), m_length);  // a null text is left alone
        m_text.Free();
    }

private:
    HeapText m_text;
    unsigned int m_length = 0;
};

// Opens the sealed password of a login record. False: no domain fits.
bool DecryptPassword(const TagQuorAiKelLoginInfo& info, PasswordBuffer& password) {
    const auto sealedLength = static_cast<unsigned int>(strnlen(info.kelPassWord, sizeof(info.kelPassWord)));
    for (const char* domain : kKeyDomains) {
        unsigned int plainLength = 0;
        if (QuorOmKeymDecrypt(domain, info.kelPassWord, sealedLength, password.Data(), &plainLength) == 0) {
            password.Terminate();
            return true;
        }
        // What a failed attempt left behind must not become the tail of the next one's result.
        password.Wipe();
    }
    return false;
}

}  // namespace

unsigned int AiKelBasic::UpdateKelLoginInfo(const TagQuorAiKelLoginInfo& info) {
    if (&info == &m_kelBasicInfo.loginInfo) {
        return 0;  // changed in place through KelGetBasicInfo
    }
    // The tag is not the function's name; log readers know it so.
    if (memcpy_s(&m_kelBasicInfo.loginInfo, sizeof(m_kelBasicInfo.loginInfo), &info, sizeof(info)) != 0) {
        KEL_LOG_ERROR("<KelLoginInfoUpdate> failed: memcpy kelLoginInfo failed");
        return 1;
    }
    return 0;
}

TagQuorAiKelBasicInfo* AiKelBasic::KelGetBasicInfo() {
    return &m_kelBasicInfo;
}

unsigned int AiKelBasic::KelBasicCreateWebsocket(TagQuorAiKelLoginInfo* info) {
    KEL_LOG_INFO("<KelBasicCreateWebsocket> in");
    if (info == nullptr) {
        KEL_LOG_ERROR("<KelBasicCreateWebsocket> failed: kelLoginInfo is nullptr");
        return 1;
    }
    TagQuorOmNmsWebsocketInfo ws;
    const WsCodeWiper wiper(ws);
    if (KelSrvBasicSetWSInfo(ws, info) != 0) {
        KEL_LOG_ERROR("<KelBasicCreateWebsocket> failed: set srvInfo failed");
        return 1;
    }
    unsigned int linkId = 0;
    const unsigned int errCode = QuorOmNmsWebsocketStartUp(&ws, &linkId);
    if (errCode != 0 || linkId == 0) {
        KEL_LOG_ERROR("<KelBasicCreateWebsocket>: QuorOmNmsWebsocketStartUp errCode %d or linkId = %d",
                      static_cast<int>(errCode), static_cast<int>(linkId));
        return 1;
    }
    // The conference link's id is stored by its connect event, on the event thread.
    if (info->linkType == kKelLinkTypeManager) {
        m_quorManagerLinkId = linkId;
    }
    if (StartSubAliveTimer() != 0) {
        KEL_LOG_ERROR("<KelBasicCreateWebsocket> failed: StartSubAliveTimer failed");
    }
    nodeToTimeMap.clear();
    KEL_LOG_INFO("<KelBasicCreateWebsocket> success");
    return 0;
}

// The fields are written in this order and the record is not zeroed: a record that a failure left
// half-written is recognisable. The separator borrows the token's failure text.
unsigned int AiKelBasic::KelSrvBasicSetWSInfo(TagQuorOmNmsWebsocketInfo& ws, TagQuorAiKelLoginInfo* info) {
    ws.reserved1 = 1;
    if (CopyField(ws.serverAddr, sizeof(ws.serverAddr), info->serverAddr) != 0) {
        KEL_LOG_ERROR("<KelBasicSetWSInfo> failed: strcpy_s ServerAddr failed ");
        return 1;
    }
    if (strcpy_s(ws.url, sizeof(ws.url), kWebsocketPath) != 0) {
        KEL_LOG_ERROR("<KelBasicSetWSInfo> failed: strcpy_s url failed ");
        return 1;
    }
    // The field takes the conference id, not a token.
    if (CopyField(ws.confCtrlToken, sizeof(ws.confCtrlToken), m_kelBasicInfo.uuid) != 0) {
        KEL_LOG_ERROR("<KelBasicSetWSInfo> failed: strcpy_s confCtrlToken failed ");
        return 1;
    }
    if (strcpy_s(ws.separator, sizeof(ws.separator), kSeparator) != 0) {
        KEL_LOG_ERROR("<KelBasicSetWSInfo> failed: strcpy_s confCtrlToken failed ");
        return 1;
    }
    ws.isManagerLink = info->linkType == kKelLinkTypeManager ? 1 : 0;
    if (ws.isManagerLink == 0 && KelSetWsCode(ws, info) != 0) {
        return 1;
    }
    ws.reserved0 = 0;
    ws.port = info->port;
    ws.connectParam = kConnectParam;
    ws.reserved2 = 0;
    return 0;
}

// Credentials of a conference link: the ready-made ones, else those built from user name and sealed password.
unsigned int AiKelBasic::KelSetWsCode(TagQuorOmNmsWebsocketInfo& ws, TagQuorAiKelLoginInfo* info) {
    if (info->wsCode[0] != '\0') {
        if (strcpy_s(ws.wsCode, sizeof(ws.wsCode), info->wsCode) != 0) {
            KEL_LOG_ERROR("<KelBasicSetWSInfo> failed: strcpy_s wsCode failed ");
            return 1;
        }
        return 0;
    }
    PasswordBuffer password;
    if (!DecryptPassword(*info, password)) {  // the tag is that of an older owner of this step
        KEL_LOG_ERROR("<AiMeetingMainGetKelInfo> failed: Decrypt kelPassWord failed.");
        return 1;
    }
    char* text = nullptr;
    unsigned int length = 0;
    if (KelCreateWsAuthCode(info->userName, password.Data(), text, length) != 0) {
        KEL_LOG_ERROR("<KelBasicSetWSInfo> failed: KelCreateWsAuthCode failed ");
        return 1;
    }
    password.Wipe();
    AuthCode code;
    code.Take(text, length);
    if (strcpy_s(ws.wsCode, sizeof(ws.wsCode), code.Get()) != 0) {
        code.Free();
        KEL_LOG_ERROR("<KelBasicSetWSInfo> failed: strcpy_s wsCode failed ");
        return 1;
    }
    return 0;
}

// Basic credentials (RFC 7617 section 2): base64 of user name, colon and password. On success code is a block
// of the accounted heap that the caller wipes and frees; on failure it is null and codeLen 0.
unsigned int AiKelBasic::KelCreateWsAuthCode(char* userName, char* password, char*& code,
                                             unsigned int& codeLen) {
    code = nullptr;
    codeLen = 0;
    if (userName == nullptr || password == nullptr) {
        KEL_LOG_ERROR("<KelCreateWsAuthCode> failed: input is nullptr");
        return 1;
    }
    SecretBuffer<kAuthTextCapacity> token;
    // The precision changes no text that fits; it keeps an unterminated field from being read past its end.
    if (sprintf_s(token.Data(), token.kCapacity, "%.256s:%.256s", userName, password) < 0) {
        KEL_LOG_ERROR("<KelCreateWsAuthCode> failed: sprintf_s failed");
        return 1;
    }
    char* text = nullptr;
    unsigned int length = 0;
    length = QUOR_BASE64Encode(reinterpret_cast<const unsigned char*>(token.Data()),
                               static_cast<unsigned int>(std::strlen(token.Data())), &text, &length);
    AuthCode encoded;
    encoded.Take(text, length);
    if (length == 0) {
        KEL_LOG_ERROR("<KelCreateWsAuthCode> failed: QUOR_BASE64Encode failed");
    }
    if (token.Wipe() != 0) {
        KEL_LOG_ERROR("<KelCreateWsAuthCode> failed: memset token failed");
        return 1;
    }
    if (length == 0) {
        return 1;
    }
    code = encoded.Release();
    codeLen = length;
    return 0;
}

// Without a link nothing happens, not even to a running timer. The manager link and its id are never touched
// here.
unsigned int AiKelBasic::KelBasicDestroyWebsocket() {
    KEL_LOG_INFO("<KelBasicDestroyWebsocket> in");
    if (m_linkId == 0) {  // the text names a field that the id lived in once
        KEL_LOG_INFO("<KelBasicDestroyWebsocket>: m_kelBasicInfo.wslinkId is 0");
        return 0;
    }
    const unsigned int errCode = QuorOmNmsWebsocketDestory(m_linkId);
    if (errCode != 0) {
        KEL_LOG_ERROR("<KelBasicDestroyWebsocket>: QuorOmNmsWebsocketDestory errCode %d",
                      static_cast<int>(errCode));
        return 1;
    }
    m_linkId = 0;
    m_isQuorOmNmsInit = false;
    KEL_GENERAL_LOG("Ai destroy websocket connection with server succeed.");
    if (StopSubAliveTimer() != 0) {
        KEL_LOG_ERROR("<KelBasicDestroyWebsocket> failed: StopSubAliveTimer failed");
    }
    nodeToTimeMap.clear();
    KEL_LOG_INFO("<KelBasicDestroyWebsocket> success");
    return 0;
}

// Rebuilding the link is the connection client's business; the channel keeps its link id, registrations and
// counters.
void AiKelBasic::KelBasicCloseNotify() {
    TagKelCloseNotifyMsg message = {};
    message.msgId = kCloseNotifyMsgId;
    if (memcpy_s(message.srcModule, sizeof(message.srcModule), kOwnModule, sizeof(kOwnModule)) != 0 ||
        memcpy_s(message.dstModule, sizeof(message.dstModule), kConnectionClientModule,
                 sizeof(kConnectionClientModule)) != 0) {
        // Logged under the tag of the sending step.
        KEL_LOG_ERROR("<SendAsynInfo> failed: call memcpy_s failed.");
        return;
    }
    const unsigned int result = OsMsgAsynSend(&message);
    if (result != 0) {
        KEL_LOG_ERROR("<KelBasicCloseNotify> failed: call OsMsgAsynSend return %x.", result);
        return;
    }
    KEL_LOG_INFO("<KelBasicCloseNotify>: succeed");
}

}  // namespace QuorAiEngine
