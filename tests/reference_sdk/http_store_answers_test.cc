// Stores that answer garbage, in pieces, endlessly or slowly.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/reference_sdk/http_store_fixture.h"
#include "tests/reference_sdk/scripted_server.h"

namespace reference_sdk {
namespace {

const std::string kOk = "HTTP/1.1 200 OK\r\n";

ScriptedAnswer Raw(const std::string& text) {
  ScriptedAnswer answer;
  answer.raw = text;
  return answer;
}

class HttpStoreAnswersTest : public HttpStoreTest {
 protected:
  void ExpectNotStored(const ScriptedAnswer& answer) {
    const std::string what = testing::PrintToString(answer.raw.substr(0, 60));
    ScriptedServer server({answer});
    EXPECT_EQ(Put(server.endpoint()), kStoreUnreachable) << what;
    EXPECT_EQ(server.requests().size(), 3U) << what;
    EXPECT_NE(failure_.reason, "") << what;
    EXPECT_EQ(failure_.reason.find_first_of("\x1b\r\n"), std::string::npos) << failure_.reason;
  }

  // In seconds.
  double TimeOf(const std::string& endpoint, UploadStatus wanted) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Put(endpoint), wanted) << failure_.reason;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
};

TEST_F(HttpStoreAnswersTest, GarbageIsAnUnreachableStore) {
  for (const std::string& garbage :
       {std::string("\x1b[31mno HTTP at all\r\n\r\n"), std::string("\x16\x03\x01\0\xff\0", 6),
        std::string(70000, '\0'), std::string("HTTP/1.1 abc OK\r\n\r\n"),
        std::string("HTTP/1.1 000 x\r\n\r\n"), std::string("HTTP/9.9 200 OK\r\n\r\n"),
        std::string("HTTP/2 200\r\n\r\n"), std::string("x\r\n") + kOk + "\r\n",
        kOk + "Content-Length: -5\r\n\r\nabcde",
        kOk + "Transfer-Encoding: chunked\r\n\r\nzz\r\n"}) {
    ExpectNotStored(Raw(garbage));
  }
}

// The network library takes it for a lack of memory, or not, depending on its version: the number
// of tries follows from that.
TEST_F(HttpStoreAnswersTest, AnEndlessHeadIsAnUnreachableStore) {
  ScriptedServer server({Raw(kOk + "X: " + std::string(5000000, 'x') + "\r\n\r\n")});
  EXPECT_EQ(Put(server.endpoint()), kStoreUnreachable);
}

TEST_F(HttpStoreAnswersTest, ASuccessThatBrokeOffIsNone) {
  for (const std::string& piece :
       {std::string("HTTP/1.1 20"), kOk, kOk + "Content-Le", kOk + "Content-Length: 0\r\n",
        "HTTP/1.1 100 Continue\r\n\r\n" + kOk, kOk + "Content-Length: 100\r\n\r\nabc",
        kOk + "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n"}) {
    ExpectNotStored(Raw(piece));
  }
}

TEST_F(HttpStoreAnswersTest, ASuccessWithoutALengthEndsWithTheConnection) {
  for (const std::string& whole :
       {kOk + "\r\n", kOk + "\r\nsome words", std::string("HTTP/1.0 200 OK\r\n\r\n"),
        std::string("HTTP/1.1 204 None\r\n\r\n"), std::string("HTTP/1.1 200 OK\n\n"),
        kOk + "Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n"}) {
    ScriptedServer server({Raw(whole)});
    EXPECT_EQ(Put(server.endpoint()), kStored) << whole << failure_.reason;
    EXPECT_EQ(server.requests().size(), 1U) << whole;
  }
}

// Were it believed, logs would be taken for safe that nobody has.
TEST_F(HttpStoreAnswersTest, ASuccessBeforeTheArchiveWasSentIsNone) {
  SetBody(std::string(8000000, 'b'));
  ScriptedAnswer answer;
  answer.before_body = true;
  ExpectNotStored(answer);
}

TEST_F(HttpStoreAnswersTest, AFailureCountsWithItsStatusLine) {
  ScriptedServer refusing({Raw("HTTP/1.1 403 No\r\nContent-Le")});
  EXPECT_EQ(Put(refusing.endpoint()), kStoreRefused);
  EXPECT_EQ(refusing.requests().size(), 1U);
  ScriptedServer failing({Raw("HTTP/1.1 503 Later\r\nContent-Le")});
  EXPECT_EQ(Put(failing.endpoint()), kStoreFailed);
  EXPECT_EQ(failing.requests().size(), 3U);
}

TEST_F(HttpStoreAnswersTest, AnEndlessAnswerIsCutOff) {
  const std::string endless = "Content-Length: 50000000\r\n\r\n" + std::string(5000000, 'b');
  ScriptedServer good({Raw(kOk + endless)});
  EXPECT_EQ(Put(good.endpoint()), kStored);
  EXPECT_EQ(good.requests().size(), 1U);
  ScriptedServer bad({Raw("HTTP/1.1 500 Not OK\r\n" + endless)});
  EXPECT_EQ(Put(bad.endpoint()), kStoreFailed);
}

TEST_F(HttpStoreAnswersTest, AnAnswerByteByByteIsGivenUp) {
  // Whole after nearly eight seconds.
  ScriptedAnswer slow = Raw(kOk + "Content-Length: 0\r\n\r\n");
  slow.pause_ms = 200;
  ScriptedServer server({slow, {403}});
  EXPECT_LT(TimeOf(server.endpoint(), kStoreRefused), 6);
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(HttpStoreAnswersTest, AStoreThatReadsSlowlyIsWaitedFor) {
  SetBody(std::string(16000000, 'b'));
  ScriptedAnswer slow;
  slow.body_bytes_per_s = 8000000;
  ScriptedServer server({slow});
  // Longer than what counts as a stall.
  EXPECT_GT(TimeOf(server.endpoint(), kStored), 1.5);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].body.size(), 16000000U);
}

}  // namespace
}  // namespace reference_sdk
