/* http_message_test.cpp - targets, answers' heads and tables of endpoints, without a network. */
#include "http_message.h"

#include <gtest/gtest.h>

#include "routes.h"

namespace quor_test {
namespace {

using quor_simulator::Encode;
using quor_simulator::Endpoint;
using quor_simulator::FindRoute;
using quor_simulator::ParseTarget;
using quor_simulator::PlainAnswer;
using quor_simulator::Route;
using quor_simulator::RouteMatch;
using Texts = std::vector<std::string>;

TEST(HttpTargets, ArePathAndQuery) {
    const auto target = ParseTarget("/a/b%20c/%e4?page=2&size=200&empty=&bare&x=%26%3D");
    ASSERT_TRUE(target);
    EXPECT_EQ(target->segments, (Texts{"a", "b c", "\xe4"}));
    ASSERT_EQ(target->query.size(), 5U);
    EXPECT_EQ(*target->Query("page"), "2");
    EXPECT_EQ(*target->Query("empty"), "");
    EXPECT_EQ(*target->Query("bare"), "");
    EXPECT_EQ(*target->Query("x"), "&=");
    EXPECT_EQ(target->Query("Page"), nullptr);
}

TEST(HttpTargets, KeepEmptySegments) {
    EXPECT_EQ(ParseTarget("/")->segments, Texts{""});
    EXPECT_EQ(ParseTarget("/?a")->segments, Texts{""});
    EXPECT_EQ(ParseTarget("/a/")->segments, (Texts{"a", ""}));
    EXPECT_EQ(ParseTarget("//a")->segments, (Texts{"", "a"}));
}

TEST(HttpTargets, AbsoluteFormNamesAPathToo) {
    EXPECT_EQ(ParseTarget("https://h:1/a?b=1")->segments, Texts{"a"});
    EXPECT_EQ(ParseTarget("https://h")->segments, Texts{""});
}

TEST(HttpTargets, BadOnesAreNone) {
    for (const char* bad : {"", "a", "*", "/%", "/%4", "/%g1", "/%1g", "/%00", "/a?%zz=1", "/a?b=%"}) {
        EXPECT_FALSE(ParseTarget(bad)) << bad;
    }
}

TEST(HttpAnswers, CarryLengthAndConnection) {
    const auto encoded = Encode(PlainAnswer(404, "gone"), true);
    EXPECT_EQ(encoded.head.substr(0, 24), "HTTP/1.1 404 Not Found\r\n");
    EXPECT_NE(encoded.head.find("\r\nContent-Length: 4\r\n"), std::string::npos);
    EXPECT_NE(encoded.head.find("\r\nContent-Type: text/plain\r\n"), std::string::npos);
    EXPECT_EQ(encoded.head.substr(encoded.head.size() - 28), "\r\nConnection: keep-alive\r\n\r\n");
    EXPECT_EQ(encoded.body, "gone");
    const auto last = Encode(PlainAnswer(599, ""), false);
    EXPECT_EQ(last.head.substr(last.head.size() - 23), "\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(last.head.substr(0, 13), "HTTP/1.1 599 ");
}

TEST(HttpAnswers, SomeStatusesHaveNoBody) {
    for (const unsigned int status : {204U, 304U}) {
        const auto encoded = Encode(PlainAnswer(status, "text"), true);
        EXPECT_EQ(encoded.body, "");
        EXPECT_EQ(encoded.head.find("Content-Length"), std::string::npos);
    }
}

TEST(HttpRoutes, MatchWholePathsAndTheirMethods) {
    const std::vector<Route> routes = {{Endpoint::kSignInList, "GET", "/a/{}/b"},
                                       {Endpoint::kSignInReport, "PUT", "/a/{}/b"},
                                       {Endpoint::kParticipants, "POST", "/a/{}/{}"}};
    const auto find = [&](const char* method, const char* path) {
        RouteMatch match;
        FindRoute(routes, method, *ParseTarget(path), match);
        return match;
    };
    EXPECT_EQ(find("GET", "/a/x/b").route, &routes[0]);
    EXPECT_EQ(find("GET", "/a/x/b").parameters, Texts{"x"});
    EXPECT_EQ(find("PUT", "/a/x/b?q").route, &routes[1]);
    EXPECT_EQ(find("POST", "/a/x/b").parameters, (Texts{"x", "b"}));
    EXPECT_EQ(find("DELETE", "/a/x/b").route, nullptr);
    EXPECT_EQ(find("DELETE", "/a/x/b").allowed, "GET, PUT, POST");
    for (const char* path : {"/", "/a", "/a/x", "/a/x/b/", "/a//b", "/b/x/b", "/a/x/b/c", "/A/x/c"}) {
        EXPECT_EQ(find("GET", path).route, nullptr) << path;
        EXPECT_EQ(find("GET", path).allowed, "") << path;
    }
    EXPECT_EQ(find("GET", "/a/x/c").allowed, "POST");
}

}  // namespace
}  // namespace quor_test
