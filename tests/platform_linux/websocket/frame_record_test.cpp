#include "platform_linux/websocket/frame_record.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

namespace quor_platform::internal {
namespace {

// On the heap, so that a sanitizer sees a read beyond the record.
std::unique_ptr<TagQuorOmNmsWebsocketStompFrame> NewFrame(unsigned int kind) {
    auto frame = std::make_unique<TagQuorOmNmsWebsocketStompFrame>();
    std::memset(frame.get(), 0, sizeof *frame);
    frame->frameKind = kind;
    frame->headerNum = 1;
    std::strcpy(frame->headers[0].headerName, "destination");
    std::strcpy(frame->headers[0].headerVal, "/topic/a");
    return frame;
}

bool Reads(const TagQuorOmNmsWebsocketStompFrame* record) {
    OutboundFrame frame;
    std::string error;
    const bool read = ReadFrameRecord(record, &frame, &error);
    EXPECT_EQ(error.empty(), read);
    return read;
}

TEST(FrameRecordTest, ReadsKindHeadersAndBody) {
    auto record = NewFrame(QUOR_OM_NMS_WEBSOCKET_FRAME_SEND);
    std::strcpy(record->body, "{}");
    OutboundFrame frame;
    std::string error;
    ASSERT_TRUE(ReadFrameRecord(record.get(), &frame, &error));
    EXPECT_EQ(frame.kind, FrameKind::kSend);
    ASSERT_EQ(frame.headers.size(), 1U);
    EXPECT_EQ(frame.Find("destination"), "/topic/a");
    EXPECT_EQ(frame.Find("token"), "");
    EXPECT_TRUE(frame.Has("destination"));
    EXPECT_FALSE(frame.Has("token"));
    EXPECT_EQ(frame.body, "{}");
}

TEST(FrameRecordTest, ABodyThatFillsItsArrayNeedsNoTerminator) {
    auto record = NewFrame(QUOR_OM_NMS_WEBSOCKET_FRAME_SEND);
    std::memset(record->body, 'b', sizeof record->body);
    OutboundFrame frame;
    std::string error;
    ASSERT_TRUE(ReadFrameRecord(record.get(), &frame, &error));
    EXPECT_EQ(frame.body, std::string(sizeof record->body, 'b'));
}

TEST(FrameRecordTest, TheBodyOfOtherKindsIsNotSent) {
    auto record = NewFrame(QUOR_OM_NMS_WEBSOCKET_FRAME_SUBSCRIBE);
    std::strcpy(record->body, "{}");
    OutboundFrame frame;
    std::string error;
    ASSERT_TRUE(ReadFrameRecord(record.get(), &frame, &error));
    EXPECT_EQ(frame.body, "");
}

TEST(FrameRecordTest, RefusesUnusableRecords) {
    EXPECT_FALSE(Reads(nullptr));
    EXPECT_FALSE(Reads(NewFrame(3).get()));
    EXPECT_FALSE(Reads(NewFrame(0xFFFFFFFFU).get()));
    for (const unsigned int count : {9U, 0xFFFFFFFFU}) {
        auto record = NewFrame(QUOR_OM_NMS_WEBSOCKET_FRAME_SEND);
        record->headerNum = count;
        EXPECT_FALSE(Reads(record.get()));
    }
    auto name = NewFrame(QUOR_OM_NMS_WEBSOCKET_FRAME_SEND);
    std::memset(name->headers[0].headerName, 'n', sizeof name->headers[0].headerName);
    EXPECT_FALSE(Reads(name.get()));
    auto value = NewFrame(QUOR_OM_NMS_WEBSOCKET_FRAME_SEND);
    std::memset(value->headers[0].headerVal, 'v', sizeof value->headers[0].headerVal);
    EXPECT_FALSE(Reads(value.get()));
    auto empty = NewFrame(QUOR_OM_NMS_WEBSOCKET_FRAME_SEND);
    empty->headers[0].headerName[0] = '\0';
    EXPECT_FALSE(Reads(empty.get()));
    auto latin = NewFrame(QUOR_OM_NMS_WEBSOCKET_FRAME_SEND);
    std::strcpy(latin->body, "\xE4");
    EXPECT_FALSE(Reads(latin.get()));
    auto latinHeader = NewFrame(QUOR_OM_NMS_WEBSOCKET_FRAME_SEND);
    std::strcpy(latinHeader->headers[0].headerVal, "\xE4");
    EXPECT_FALSE(Reads(latinHeader.get()));
}

TEST(FrameRecordTest, ASubscribeNeedsADestinationOthersDoNot) {
    for (const unsigned int headers : {0U, 1U}) {
        auto record = NewFrame(QUOR_OM_NMS_WEBSOCKET_FRAME_SUBSCRIBE);
        record->headerNum = headers;
        record->headers[0].headerVal[0] = '\0';
        EXPECT_FALSE(Reads(record.get()));
        record->frameKind = QUOR_OM_NMS_WEBSOCKET_FRAME_UNSUBSCRIBE;
        EXPECT_TRUE(Reads(record.get()));
        record->frameKind = QUOR_OM_NMS_WEBSOCKET_FRAME_SEND;
        EXPECT_TRUE(Reads(record.get()));
    }
}

std::unique_ptr<TagQuorOmNmsWebsocketInfo> NewInfo() {
    auto info = std::make_unique<TagQuorOmNmsWebsocketInfo>();
    std::memset(info.get(), 0xAA, sizeof *info);
    info->port = 443;
    std::strcpy(info->separator, "\n");
    std::strcpy(info->serverAddr, "host.example");
    std::strcpy(info->url, "/conf-portal/websocket");
    std::strcpy(info->wsCode, "dXNlcjpwYXNz");
    info->isManagerLink = 0;
    return info;
}

bool Starts(const TagQuorOmNmsWebsocketInfo* info, LinkTarget* target) {
    std::string error;
    const bool read = ReadStartRecord(info, target, &error);
    EXPECT_EQ(error.empty(), read);
    return read;
}

TEST(StartRecordTest, ReadsTheTarget) {
    LinkTarget target;
    ASSERT_TRUE(Starts(NewInfo().get(), &target));
    EXPECT_EQ(target.host, "host.example");
    EXPECT_EQ(target.port, 443);
    EXPECT_EQ(target.path, "/conf-portal/websocket");
    EXPECT_EQ(target.lineEnd, "\n");
    EXPECT_EQ(target.authorization, "Basic dXNlcjpwYXNz");
    EXPECT_FALSE(target.managerLink);
    WipeCredentials(target);
    EXPECT_TRUE(target.authorization.empty());
}

TEST(StartRecordTest, AManagerLinkDoesNotReadCredentials) {
    auto info = NewInfo();
    info->isManagerLink = 1;
    std::memset(info->wsCode, 'x', sizeof info->wsCode);
    LinkTarget target;
    ASSERT_TRUE(Starts(info.get(), &target));
    EXPECT_TRUE(target.managerLink);
    EXPECT_EQ(target.authorization, "");
}

TEST(StartRecordTest, TakesBracketsOffAnAddress) {
    auto info = NewInfo();
    std::strcpy(info->serverAddr, "[::1]");
    LinkTarget target;
    ASSERT_TRUE(Starts(info.get(), &target));
    EXPECT_EQ(target.host, "::1");
}

TEST(StartRecordTest, RefusesUnusableFields) {
    LinkTarget target;
    EXPECT_FALSE(Starts(nullptr, &target));
    for (const unsigned int port : {0U, 65536U, 0xFFFFFFFFU}) {
        auto info = NewInfo();
        info->port = port;
        EXPECT_FALSE(Starts(info.get(), &target));
    }
    for (const char* const host : {"", "a b", "a/b", "user@host", "a\r\nX: y", "[", "a?b"}) {
        auto info = NewInfo();
        std::strcpy(info->serverAddr, host);
        EXPECT_FALSE(Starts(info.get(), &target)) << host;
    }
    for (const char* const path : {"", "x", "/a b", "/a\r\nX:y"}) {
        auto info = NewInfo();
        std::strcpy(info->url, path);
        EXPECT_FALSE(Starts(info.get(), &target)) << path;
    }
    for (const char* const code : {"", "a b", "a\r\nX: y"}) {
        auto info = NewInfo();
        std::strcpy(info->wsCode, code);
        EXPECT_FALSE(Starts(info.get(), &target)) << code;
    }
    auto separator = NewInfo();
    std::strcpy(separator->separator, ";");
    EXPECT_FALSE(Starts(separator.get(), &target));
    for (int field = 0; field < 4; ++field) {
        auto info = NewInfo();
        char* const fields[] = {info->separator, info->serverAddr, info->url, info->wsCode};
        std::memset(fields[field], 'x', field == 3 ? sizeof info->wsCode : sizeof info->url);
        EXPECT_FALSE(Starts(info.get(), &target)) << field;
    }
}

}  // namespace
}  // namespace quor_platform::internal
