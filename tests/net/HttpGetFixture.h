// HttpGetFixture.h: what the tests of HttpGet against the scripted server share, on every
// platform: a fresh session and short limits for each test, and the helpers that build answers
// and expected texts.
#pragma once

#include "NetTestSupport.h"
#include "ScriptedServer.h"
#include "catalogue/MessageCatalogue.h"
#include "net/HttpGet.h"

#include <gtest/gtest.h>
#include <string>

namespace nettest {

// Answers every request with the same bytes.
inline ScriptedServer::Handler Always(const std::string& response) {
    return [response](const std::string&, ScriptedServer::Reply& reply) { reply.Send(response); };
}

// A catalogue text with a tail, as a failure carries it.
inline std::string Text(int row, const std::string& tail = "") { return MessageText(row) + tail; }

}  // namespace nettest

class HttpGetTest : public ::testing::Test {
protected:
    void SetUp() override {
        CloseHttpSession();
        SetHttpTimeouts({5000, 5000});
    }
    void TearDown() override {
        CloseHttpSession();
        SetHttpTimeouts({});
    }
    // No proxy from the environment gets between the test and its server.
    nettest::ScopedEnvironment noProxy{"no_proxy", std::string("*")};
};
