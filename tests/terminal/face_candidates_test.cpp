#include "face_candidates.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quor_terminal {
namespace {

std::vector<std::string> UrlsOf(const std::string& list) {
    std::vector<FaceCandidate> candidates;
    std::string message;
    EXPECT_TRUE(ParseFaceCandidates(list, candidates, message)) << list << ": " << message;
    std::vector<std::string> urls;
    urls.reserve(candidates.size());
    for (const FaceCandidate& candidate : candidates) {
        urls.push_back(candidate.url + (candidate.isAddress ? "" : " name"));
    }
    return urls;
}

void ExpectRefused(const std::string& list, const std::string& part) {
    std::vector<FaceCandidate> candidates;
    std::string message;
    EXPECT_FALSE(ParseFaceCandidates(list, candidates, message)) << list;
    EXPECT_EQ(message.rfind("--server: ", 0), 0U) << message;
    EXPECT_NE(message.find(part), std::string::npos) << list << ": " << message;
}

using Urls = std::vector<std::string>;

TEST(FaceCandidates, EveryFormOfAnAddress) {
    EXPECT_EQ(UrlsOf("10.1.1.1"), Urls{"https://10.1.1.1:443"});
    EXPECT_EQ(UrlsOf("10.1.1.1:8443;http://10.1.1.2;https://10.1.1.3:9443"),
              (Urls{"https://10.1.1.1:8443", "http://10.1.1.2:80", "https://10.1.1.3:9443"}));
    EXPECT_EQ(UrlsOf("https://10.1.1.1;http://10.1.1.1:65535;"),
              (Urls{"https://10.1.1.1:443", "http://10.1.1.1:65535"}));
    EXPECT_EQ(UrlsOf("10.1.1.1;10.1.1.1:1"), (Urls{"https://10.1.1.1:443", "https://10.1.1.1:1"}));
}

TEST(FaceCandidates, NamesStandBesideAddressesOnly) {
    EXPECT_EQ(
        UrlsOf("face.example.org:8443;10.1.1.1;10.1.1.300"),
        (Urls{"https://face.example.org:8443 name", "https://10.1.1.1:443", "https://10.1.1.300:443 name"}));
    ExpectRefused("face.example.org", "looks up no names");
    ExpectRefused("face.example.org;localhost:8443", "dotted IPv4 addresses only");
    ExpectRefused("", "dotted IPv4 addresses only");
}

TEST(FaceCandidates, AtMostEight) {
    std::string list;
    for (int i = 1; i <= 8; ++i) {
        list += "10.1.1." + std::to_string(i) + ";";
    }
    EXPECT_EQ(UrlsOf(list).size(), 8U);
    ExpectRefused(list + "10.1.1.9", "at most 8");
    ExpectRefused(std::string(512, '1'), "longer than 511 bytes");
}

// The library would take each of these in another way than it is meant, and hide a good one for it.
TEST(FaceCandidates, WhatTheLibraryDoesNotUnderstand) {
    ExpectRefused(";10.1.1.1", "nothing between two semicolons");
    ExpectRefused("10.1.1.1;;10.1.1.2", "nothing between two semicolons");
    ExpectRefused("https://10.1.1.1/face", "a path");
    ExpectRefused("10.1.1.1/", "a path");
    ExpectRefused("https://10.1.1.1:8443/face", "a path");
    ExpectRefused("httpx:abc", "neither with https://");
    ExpectRefused("https:10.1.1.1", "neither with https://");
    ExpectRefused("HTTPS://10.1.1.1", "neither with https://");
    ExpectRefused("ftp://10.1.1.1", "neither with https://");
    ExpectRefused("https://", "no address in it");
    ExpectRefused(":8443", "no address in it");
    ExpectRefused("10.1.1.1 ", "no address in it");
    ExpectRefused("user@10.1.1.1", "no address in it");
    ExpectRefused("[::1]:443", "no address in it");
    for (const char* const port : {"", "0", "65536", "-1", " 1", "1 ", "abc", "4294967297", "1:2"}) {
        ExpectRefused(std::string("10.1.1.1:") + port, "a port from 1 to 65535");
    }
    ExpectRefused("fe80:0:0:1", "IPv6");
    ExpectRefused("10.1.1.1:443;https://10.1.1.1", "10.1.1.1:443 is there twice");
}

}  // namespace
}  // namespace quor_terminal
