// What every platform's names, requests and links do without a server: arguments, failures, and that a
// callback comes exactly once. Nothing leaves the machine.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "quor_platform/bounded.h"
#include "quor_platform/dns.h"
#include "quor_platform/http.h"
#include "quor_platform/websocket.h"
#include "tests/platform_linux/support/gate.h"
#include "tests/support/closed_port.h"

namespace {

using QuorTest::ClosedPort;

TEST(ContractDns, AnAddressStandsForItself) {
    QuorNetbDnsAddress table[2] = {};
    unsigned int count = 2;
    ASSERT_EQ(QUOR_NETB_DnsGetIpBySynResolveEx("127.0.0.1", 2, table, &count, 1, 1), 0U);
    ASSERT_EQ(count, 1U);
    EXPECT_EQ(table[0].type, QUOR_NETB_DNS_ADDRESS_IPV4);
    EXPECT_EQ(table[0].ipv4, htonl(INADDR_LOOPBACK));
}

TEST(ContractDns, ABadNameFindsNothing) {
    QuorNetbDnsAddress addresses[2] = {};
    CloudDnsRecord records[2] = {};
    unsigned int count = 2;
    EXPECT_NE(QUOR_NETB_DnsGetIpBySynResolveEx("no name", 2, addresses, &count, 1, 1), 0U);
    EXPECT_EQ(count, 0U);
    count = 2;
    EXPECT_NE(QUOR_NETB_DnsGetIpBySynResolveEx(nullptr, 2, addresses, &count, 1, 1), 0U);
    EXPECT_NE(QUOR_NETB_DnsGetIpBySynResolveEx("127.0.0.1", 2, nullptr, &count, 1, 1), 0U);
    count = 2;
    EXPECT_NE(QUOR_NETB_DnsGetSrvBySynResolveEx("https", "tcp", "no name", records, &count, 1, 1), 0U);
    EXPECT_EQ(count, 0U);
}

class ContractHttp : public testing::Test {
protected:
    ContractHttp() {
        strcpy_s(m_tls.caPath, sizeof m_tls.caPath, "/etc/ssl/certs/ca-certificates.crt");
        m_tls.verifyPeer = 1;
        m_config.tlsParam = &m_tls;
        m_config.firstTimeout = 5;
        m_config.secondTimeout = 10;
    }
    ~ContractHttp() override { quor_http_uninit(); }

    struct Outcome {
        Counter calls;
        int error = 0;
        bool answered = false;
        unsigned int released = 1;
    };

    static unsigned int OnEnd(unsigned long handle, EN_HTTP_ERRORCODE error, tagST_HTTP_RSP* rsp,
                              void* userData) {
        auto* outcome = static_cast<Outcome*>(userData);
        outcome->error = error;
        outcome->answered = rsp != nullptr;
        outcome->released = HTTPAPI_ReleaseHandle(handle);
        outcome->calls.Add();
        return 0;
    }

    unsigned int SendAndWait(const std::string& url) {
        tagHTTP_S_SYN_SEND_PARAM param = {};
        param.method = QUOR_HTTP_METHOD_GET;
        param.url = url.c_str();
        param.urlLen = static_cast<unsigned int>(url.size() + 1);
        param.config = m_config;
        const unsigned int result = quor_http_syn_send(&param);
        EXPECT_EQ(param.rspBody, nullptr);
        EXPECT_EQ(param.rspExtra, nullptr);
        EXPECT_EQ(param.rspStatus, 0U);
        return result;
    }

    unsigned int Send(const std::string& url, Outcome& outcome) {
        tagHTTP_S_ASYN_SEND_PARAM param = {};
        param.url = url.c_str();
        param.method = QUOR_HTTP_METHOD_GET;
        param.config = m_config;
        param.callback = OnEnd;
        param.userData = &outcome;
        unsigned long handle = 0;
        const unsigned int result = quor_http_asyn_send(&param, &handle);
        EXPECT_NE(handle, 0UL);
        return result;
    }

    tagHTTP_S_TLS_PARAM m_tls = {};
    tagHTTP_S_CONFIG_PARAM m_config = {};
};

TEST_F(ContractHttp, NothingIsSentBeforeTheStartAndAfterTheEnd) {
    const ClosedPort server;
    EXPECT_EQ(SendAndWait(server.Url()), static_cast<unsigned int>(HTTP_ERRORCODE_NOT_INITIALISED));
    EXPECT_EQ(quor_http_uninit(), 0U) << "not started";
    EXPECT_EQ(quor_http_init(), 0U);
    EXPECT_EQ(quor_http_init(), 0U) << "again";
    EXPECT_EQ(quor_http_uninit(), 0U);
    EXPECT_EQ(SendAndWait(server.Url()), static_cast<unsigned int>(HTTP_ERRORCODE_NOT_INITIALISED));
    Outcome outcome;
    EXPECT_NE(Send(server.Url(), outcome), 0U);
    EXPECT_TRUE(outcome.calls.Reached(1));
    EXPECT_FALSE(outcome.answered);
}

TEST_F(ContractHttp, ARequestThatCannotBeSentFails) {
    ASSERT_EQ(quor_http_init(), 0U);
    EXPECT_NE(quor_http_syn_send(nullptr), 0U);
    unsigned long handle = 0;
    EXPECT_NE(quor_http_asyn_send(nullptr, &handle), 0U);
    EXPECT_EQ(SendAndWait("http://127.0.0.1:1/"), static_cast<unsigned int>(HTTP_ERRORCODE_INVALID));
    EXPECT_NE(HTTPAPI_ReleaseHandle(123456789), 0U) << "no such request";
}

TEST_F(ContractHttp, AServerThatIsNotThereIsUnreachableAndTellsOnce) {
    ASSERT_EQ(quor_http_init(), 0U);
    const ClosedPort server;
    const unsigned int result = SendAndWait(server.Url());
    EXPECT_GE(result, 101U);
    EXPECT_LE(result, 199U);
    Outcome outcome;
    EXPECT_EQ(Send(server.Url(), outcome), 0U);
    ASSERT_TRUE(outcome.calls.Reached(1));
    EXPECT_EQ(quor_http_uninit(), 0U);
    EXPECT_EQ(outcome.calls.Value(), 1);
    EXPECT_GE(outcome.error, 101);
    EXPECT_LE(outcome.error, 199);
    EXPECT_FALSE(outcome.answered);
    EXPECT_EQ(outcome.released, 0U);
}

TEST_F(ContractHttp, WithoutTrustedCertificatesNothingIsSent) {
    ASSERT_EQ(quor_http_init(), 0U);
    const ClosedPort server;
    strcpy_s(m_tls.caPath, sizeof m_tls.caPath, "/nowhere/at/all.pem");
    EXPECT_EQ(SendAndWait(server.Url()), static_cast<unsigned int>(HTTP_ERRORCODE_CERTIFICATE));
}

TEST(ContractLinks, AServerThatIsNotThereGivesNoLink) {
    const ClosedPort server;
    TagQuorOmNmsWebsocketInfo info = {};
    info.port = server.Port();
    info.isManagerLink = 1;
    strcpy_s(info.separator, sizeof info.separator, "\n");
    strcpy_s(info.serverAddr, sizeof info.serverAddr, "127.0.0.1");
    strcpy_s(info.url, sizeof info.url, "/conf-portal/websocket");
    unsigned int linkId = 4711;
    EXPECT_NE(QuorOmNmsWebsocketStartUp(&info, &linkId), 0U);
    EXPECT_EQ(linkId, 4711U);
    EXPECT_NE(QuorOmNmsWebsocketStartUp(nullptr, &linkId), 0U);
    EXPECT_NE(QuorOmNmsWebsocketStartUp(&info, nullptr), 0U);
}

TEST(ContractLinks, FramesNeedALink) {
    TagQuorOmNmsWebsocketStompFrame frame = {};
    frame.linkId = 4711;
    frame.headerNum = 1;
    strcpy_s(frame.headers[0].headerName, sizeof frame.headers[0].headerName, "destination");
    strcpy_s(frame.headers[0].headerVal, sizeof frame.headers[0].headerVal, "/topic/conferences/c");
    EXPECT_NE(QuorOmNmsWebsocketSubscribe(&frame), 0U);
    frame.frameKind = QUOR_OM_NMS_WEBSOCKET_FRAME_UNSUBSCRIBE;
    EXPECT_NE(QuorOmNmsWebsocketUnsubscribe(&frame), 0U);
    frame.frameKind = QUOR_OM_NMS_WEBSOCKET_FRAME_SEND;
    EXPECT_NE(QuorOmNmsWebsocketSendData(&frame), 0U);
    EXPECT_NE(QuorOmNmsWebsocketDestory(frame.linkId), 0U);
    EXPECT_NE(QuorOmNmsWebsocketSubscribe(nullptr), 0U);
    EXPECT_NE(QuorOmNmsWebsocketUnsubscribe(nullptr), 0U);
    EXPECT_NE(QuorOmNmsWebsocketSendData(nullptr), 0U);
}

}  // namespace
