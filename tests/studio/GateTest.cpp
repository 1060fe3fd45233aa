#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "studio/Gate.h"
#include "tests/studio/Support.h"

namespace tumblewash::studio {
namespace {

constexpr const char* kToken = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQ";

int statusOf(const Request& request) {
    const auto refused = refusedAtTheGate(request, parseTarget(request.target), kToken);
    return refused ? refused->status : 200;
}

std::string below(const std::string& rest) {
    return std::string("/") + kToken + "/" + rest;
}

Request with(Request request, const std::string& name, const std::string& value) {
    std::erase_if(request.headers, [&](const auto& header) { return header.first == name; });
    request.headers.emplace_back(name, value);
    return request;
}

Request without(Request request, const std::string& name) {
    std::erase_if(request.headers, [&](const auto& header) { return header.first == name; });
    return request;
}

TEST(GateTest, ThePageItselfMayPass) {
    EXPECT_EQ(statusOf(fromPage("GET", below("api/state"))), 200);
    EXPECT_EQ(statusOf(fromPage("HEAD", below(""))), 200);
    EXPECT_EQ(statusOf(fromPage("POST", below("api/edit"), "{}")), 200);
    EXPECT_EQ(statusOf(with(fromPage("GET", below("")), "Host", "localhost:80")), 200);
    EXPECT_EQ(statusOf(with(fromPage("GET", below("")), "Host", "127.0.0.1")), 200);
}

TEST(GateTest, OnlyNamesOfThisMachineAreAnswered) {
    for (const char* host : {"example.com", "127.0.0.1.example.com", "127.0.0.1:", "127.0.0.1:x",
                             "127.0.0.1:0", "127.0.0.1:99999", "", "localhost.", "[::1]:80", "0.0.0.0"})
        EXPECT_EQ(statusOf(with(fromPage("GET", below("")), "Host", host)), 421) << host;
    EXPECT_EQ(statusOf(without(fromPage("GET", below("")), "Host")), 421);
    Request twice = fromPage("GET", below(""));
    twice.headers.emplace_back("host", "127.0.0.1:4000");
    EXPECT_EQ(statusOf(twice), 421);
}

TEST(GateTest, OtherPagesAreRefusedWhateverTheyKnow) {
    for (const char* origin : {"null", "http://127.0.0.1", "http://127.0.0.1:4001", "https://127.0.0.1:4000",
                               "http://localhost:4000", "http://example.com"})
        EXPECT_EQ(statusOf(with(fromPage("GET", below("")), "Origin", origin)), 403) << origin;
    for (const char* site : {"cross-site", "same-site", "none", "anything"})
        EXPECT_EQ(statusOf(with(fromPage("GET", below("api/state")), "Sec-Fetch-Site", site)), 403) << site;
    EXPECT_EQ(statusOf(without(fromPage("POST", below("api/edit")), "Origin")), 403);
}

TEST(GateTest, APersonMayOpenThePage) {
    Request typed = with(fromPage("GET", below("")), "Sec-Fetch-Site", "none");
    typed = with(with(typed, "Sec-Fetch-Mode", "navigate"), "Sec-Fetch-Dest", "document");
    EXPECT_EQ(statusOf(typed), 200);
    EXPECT_EQ(statusOf(with(typed, "Sec-Fetch-Dest", "iframe")), 403);
    typed.method = "POST";
    EXPECT_EQ(statusOf(typed), 403);
}

TEST(GateTest, WithoutTheSecretNothingIsToldAndSlowly) {
    for (const std::string& target :
         {std::string("/"), std::string("/api/state"), std::string("/x") + kToken + "/",
          std::string("/") + std::string(kToken).substr(1) + "/", std::string("/favicon.ico")}) {
        const auto refused = refusedAtTheGate(fromPage("GET", target), parseTarget(target), kToken);
        ASSERT_TRUE(refused) << target;
        EXPECT_EQ(refused->status, 404);
        EXPECT_TRUE(refused->late);
        EXPECT_EQ(refused->body, "");
    }
}

TEST(GateTest, ChangesArePostedAsJson) {
    for (const char* method : {"PUT", "DELETE", "OPTIONS", "PATCH", "TRACE", "BREW"})
        EXPECT_EQ(statusOf(with(fromPage(method, below("")), "Content-Type", "application/json")), 405)
            << method;
    for (const char* type : {"", "text/plain", "application/x-www-form-urlencoded", "application/jsonp"})
        EXPECT_EQ(statusOf(with(fromPage("POST", below("api/edit")), "Content-Type", type)), 415) << type;
    EXPECT_EQ(statusOf(with(fromPage("POST", below("api/edit")), "Content-Type",
                            "application/json; charset=utf-8")),
              200);
}

TEST(GateTest, SecretsAreLongAndNeverTheSame) {
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const std::string secret = randomSecret();
        EXPECT_EQ(secret.size(), 43U);
        EXPECT_EQ(
            secret.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
            std::string::npos);
        EXPECT_TRUE(seen.insert(secret).second);
    }
    EXPECT_TRUE(equalSecrets("abc", "abc"));
    EXPECT_FALSE(equalSecrets("abc", "abd"));
    EXPECT_FALSE(equalSecrets("abc", "ab"));
}

TEST(GateTest, EveryAnswerLetsNothingInFromElsewhere) {
    std::map<std::string, std::string> headers(safeHeaders().begin(), safeHeaders().end());
    const std::string policy = headers["Content-Security-Policy"];
    for (const char* rule : {"default-src 'none'", "script-src 'self'", "style-src 'self'",
                             "img-src 'self' blob:", "media-src 'self' blob:", "connect-src 'self'",
                             "base-uri 'none'", "form-action 'none'", "frame-ancestors 'none'",
                             "require-trusted-types-for 'script'", "trusted-types 'none'"})
        EXPECT_NE((policy + ";").find(std::string(rule) + ";"), std::string::npos) << rule;
    EXPECT_EQ(std::count(policy.begin(), policy.end(), ';'), 10);
    headers.erase("Content-Security-Policy");
    const std::map<std::string, std::string> others{
        {"X-Content-Type-Options", "nosniff"},
        {"Referrer-Policy", "no-referrer"},
        {"X-Frame-Options", "DENY"},
        {"Cross-Origin-Opener-Policy", "same-origin"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Permissions-Policy", "camera=(), microphone=(), geolocation=()"}};
    EXPECT_EQ(headers, others);
}

TEST(TargetTest, PathsAndValuesAreDecodedOnce) {
    const Target target = parseTarget("/a/b%20c/?x=%31%32&name=%C3%A4%2541&flag");
    EXPECT_EQ(target.parts, (std::vector<std::string>{"a", "b c"}));
    EXPECT_TRUE(target.folder);
    EXPECT_EQ(target.whole("x", 0, 100, 0), 12);
    EXPECT_EQ(target.query.at("name"), "\xC3\xA4%41");
    EXPECT_EQ(target.query.at("flag"), "");
    EXPECT_EQ(target.whole("missing", 0, 9, 7), 7);
}

TEST(TargetTest, WhatStepsOutOrIsNoAddressIsRefused) {
    for (const char* target : {"", "a", "/..", "/a/../b", "/%2e%2e/x", "/a%2fb", "/a%00b", "/%", "/%4",
                               "/%zz", "/?a=1&a=2", "/./x", "*", "http://127.0.0.1/"})
        EXPECT_THROW(parseTarget(target), Refused) << target;
    EXPECT_THROW(parseTarget("/" + std::string(5000, 'a')), Refused);
    const Target target = parseTarget("/a?n=1x&big=99999999999999999999&minus=-1");
    for (const char* key : {"n", "big", "minus"}) EXPECT_THROW(target.whole(key, 0, 9, 0), Refused) << key;
}

}  // namespace
}  // namespace tumblewash::studio
