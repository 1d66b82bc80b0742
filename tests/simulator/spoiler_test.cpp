/* spoiler_test.cpp - faulty content: what becomes of a body, and what does not fit it. */
#include "spoiler.h"

#include <gtest/gtest.h>

#include "message_bodies.h"
#include "quor_simulator/simulator.h"

namespace quor_simulator {
namespace {

std::string Omit(const std::string& body, std::vector<std::string> names) {
    MessageFault fault;
    fault.omit = std::move(names);
    return Spoil(body, fault);
}

std::string WrongType(const std::string& body, std::vector<std::string> names) {
    MessageFault fault;
    fault.wrongType = std::move(names);
    return Spoil(body, fault);
}

MessageFault TooLong(std::vector<std::string> names, std::size_t length = kTooLongBytes,
                     std::size_t entries = kTooManyEntries) {
    MessageFault fault;
    fault.tooLong = std::move(names);
    fault.length = length;
    fault.entries = entries;
    return fault;
}

/* The text of the Error; empty: none. */
std::string ErrorOf(const std::string& body, const MessageFault& fault) {
    try {
        Spoil(body, fault);
        return "";
    } catch (const Error& error) {
        return error.what();
    }
}

TEST(Spoiler, WithoutAFaultTheBodyStaysAsItIs) {
    const std::string body = R"({"b":1,"a":[{"x":1.5},"ü",null,true],"z":-3})";
    EXPECT_EQ(Spoil(body, {}), body);
}

TEST(Spoiler, MembersAreOmittedWhereverTheyOccur) {
    EXPECT_EQ(Omit(R"({"a":1,"b":{"a":2,"c":3},"d":[{"a":4},{"e":5}]})", {"a"}),
              R"({"b":{"c":3},"d":[{},{"e":5}]})");
    EXPECT_EQ(Omit(R"({"a":1,"b":{"a":2},"c":3})", {"b", "c"}), R"({"a":1})");
    EXPECT_EQ(Omit(R"([{"a":1},{"a":2}])", {"a"}), "[{},{}]");
}

TEST(Spoiler, EveryTypeBecomesAnother) {
    EXPECT_EQ(WrongType(R"({"text":"t","number":-1.5,"yes":true,"no":false,"nil":null,"list":[1,"x"],)"
                        R"("object":{"inner":2}})",
                        {"text", "number", "yes", "no", "nil", "list", "object"}),
              R"({"text":7,"number":"-1.5","yes":1,"no":0,"nil":7,"list":"[1,\"x\"]",)"
              R"("object":"{\"inner\":2}"})");
}

TEST(Spoiler, TextsListsAndNumbersBecomeTooLong) {
    EXPECT_EQ(Spoil(R"({"a":"ab","n":1})", TooLong({"a"}, 4)), R"({"a":"abxx","n":1})");
    EXPECT_EQ(Spoil(R"({"a":"abcdef"})", TooLong({"a"}, 4)), R"({"a":"abcdef"})") << "long enough already";
    EXPECT_EQ(Spoil(R"({"n":1,"d":0.5})", TooLong({"n", "d"})), R"({"n":1e+20,"d":1e+20})");
    EXPECT_EQ(Spoil(R"({"l":[1,2]})", TooLong({"l"}, 1, 4)), R"({"l":[1,2,2,2]})");
    EXPECT_EQ(Json::parse(Spoil(R"({"a":"","l":[1]})", TooLong({"a", "l"})))["a"].get<std::string>().size(),
              kTooLongBytes);
}

TEST(Spoiler, ALongerListSaysSoInTheSizeBesideIt) {
    const Json body = Json::parse(Spoil(SitesBody(1, {{"a", "A"}, {"b", "B"}}), TooLong({"changeList"})));
    EXPECT_EQ(body["size"], kTooManyEntries);
    ASSERT_EQ(body["changeList"].size(), kTooManyEntries);
    EXPECT_EQ(body["changeList"][0]["id"], "a");
    EXPECT_EQ(body["changeList"][kTooManyEntries - 1]["id"], "b");
    MessageFault fault = TooLong({"l"}, 1, 3);
    fault.wrongType = {"size"};
    EXPECT_EQ(Spoil(R"({"size":1,"l":[1]})", fault), R"({"size":"1","l":[1,1,1]})");
}

TEST(Spoiler, EveryEntryOfALongerListIsFaulty) {
    MessageFault fault = TooLong({"l"}, 1, 3);
    fault.omit = {"a"};
    fault.wrongType = {"b"};
    EXPECT_EQ(Spoil(R"({"l":[{"a":1,"b":2}]})", fault), R"({"l":[{"b":"2"},{"b":"2"},{"b":"2"}]})");
}

TEST(Spoiler, AnotherTerminalIsMeant) {
    MessageFault fault;
    fault.otherUri = "sip:other@example.org";
    EXPECT_EQ(Spoil(OverlayBody("sip:own@example.org", true), fault),
              R"({"uri":"sip:other@example.org","pause":true})");
    EXPECT_EQ(ErrorOf(ControlBody({}), fault),
              "otherUri: the message names no terminal: it has no member \"uri\"");
    fault.wrongType = {"uri"};
    EXPECT_EQ(Spoil(R"({"uri":"own"})", fault), R"({"uri":7})");
}

TEST(Spoiler, WhatDoesNotFitTheBodyIsAnError) {
    MessageFault fault;
    fault.omit = {"uri", "colour"};
    EXPECT_EQ(ErrorOf(OverlayBody("u", true), fault),
              "omit: the message has no member \"colour\" (it has: pause, uri)");
    fault.omit = {"pause"};
    fault.wrongType = {"pause"};
    EXPECT_EQ(ErrorOf(OverlayBody("u", true), fault), "wrongType: \"pause\" is named twice");
    EXPECT_EQ(ErrorOf(OverlayBody("u", true), TooLong({"pause"})),
              "tooLong: \"pause\" cannot be made longer");
    EXPECT_EQ(ErrorOf(R"({"list":[]})", TooLong({"list"})), "tooLong: \"list\" cannot be made longer");
    EXPECT_EQ(ErrorOf(R"({"list":[{"a":"b"}]})", TooLong({"list", "a"}, 1000000, 10000)),
              "tooLong: \"list\" cannot be made longer")
        << "10 GB";
    EXPECT_EQ(ErrorOf("no JSON", {}), "the body is no JSON");
    EXPECT_EQ(ErrorOf("", {}), "the body is no JSON");
}

TEST(Spoiler, WhatOneOfSeveralBodiesHasIsKnown) {
    MessageFault fault;
    fault.omit = {"transText"};
    Spoiler spoiler(fault);
    EXPECT_EQ(spoiler.Apply(R"({"text":"a"})"), R"({"text":"a"})");
    ASSERT_EQ(spoiler.Problems().size(), 1U);
    EXPECT_EQ(spoiler.Apply(R"({"text":"a","transText":"b"})"), R"({"text":"a"})");
    EXPECT_TRUE(spoiler.Problems().empty());
}

}  // namespace
}  // namespace quor_simulator
