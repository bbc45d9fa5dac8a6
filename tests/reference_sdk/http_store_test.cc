#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/reference_sdk/http_store_fixture.h"
#include "tests/reference_sdk/scripted_server.h"

namespace reference_sdk {
namespace {

TEST_F(HttpStoreTest, AStoredObjectTakesOneSignedRequest) {
  ScriptedServer server({{200}});
  EXPECT_EQ(Put(server.endpoint()), kStored);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  const std::string& head = requests[0].head;
  EXPECT_EQ(head.find("PUT /bucket/app/key.zip HTTP/1.1\r\n"), 0U) << head;
  EXPECT_NE(head.find("Authorization: AWS4-HMAC-SHA256 Credential=key:id/"), std::string::npos)
      << head;
  EXPECT_NE(head.find("/us-east-1/s3/aws4_request"), std::string::npos) << head;
  EXPECT_NE(head.find("x-amz-content-sha256: UNSIGNED-PAYLOAD\r\n"), std::string::npos) << head;
  EXPECT_EQ(head.find("security-token"), std::string::npos) << head;
  EXPECT_EQ(requests[0].body, "the archive");
}

TEST_F(HttpStoreTest, TheSecurityTokenIsSentAndSigned) {
  ScriptedServer server({{200}});
  EXPECT_EQ(Put(server.endpoint(), {"k", "s", "tok/en+=="}), kStored);
  const std::string head = server.requests().at(0).head;
  EXPECT_NE(head.find("x-amz-security-token: tok/en+==\r\n"), std::string::npos) << head;
  const size_t signed_headers = head.find("SignedHeaders=");
  ASSERT_NE(signed_headers, std::string::npos) << head;
  EXPECT_NE(head.find("x-amz-security-token", signed_headers), std::string::npos) << head;
}

TEST_F(HttpStoreTest, AServerErrorIsTriedThreeTimesWithTheWholeBody) {
  SetBody(std::string(3000000, 'b'));
  ScriptedServer server({{500}});
  EXPECT_EQ(Put(server.endpoint()), kStoreFailed);
  EXPECT_EQ(failure_.http_code, 500);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 3U);
  for (const SeenRequest& request : requests) EXPECT_EQ(request.body.size(), 3000000U);
}

TEST_F(HttpStoreTest, ASuccessAfterAServerErrorIsStored) {
  ScriptedServer server({{503}, {200}});
  EXPECT_EQ(Put(server.endpoint()), kStored);
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(HttpStoreTest, ASuccessAfterABrokenConnectionIsStored) {
  ScriptedServer server({{0}, {200}});
  EXPECT_EQ(Put(server.endpoint()), kStored);
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(HttpStoreTest, ClientErrorsAreNotTriedAgain) {
  for (const int status : {400, 403, 404, 408, 413, 429}) {
    ScriptedServer server({{status}});
    EXPECT_EQ(Put(server.endpoint()), kStoreRefused) << status;
    EXPECT_EQ(failure_.http_code, status);
    EXPECT_EQ(server.requests().size(), 1U) << status;
  }
}

TEST_F(HttpStoreTest, ARefusalBeforeTheBodyIsHeard) {
  SetBody(std::string(8000000, 'b'));
  ScriptedServer server({{403, "", true}});
  EXPECT_EQ(Put(server.endpoint()), kStoreRefused);
  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 1U);
  // The body was not sent at all.
  EXPECT_EQ(requests[0].body, "");
}

TEST_F(HttpStoreTest, RedirectsAreNotFollowed) {
  ScriptedServer elsewhere({{200}});
  for (const int status : {301, 302, 303, 307, 308}) {
    ScriptedServer server({{status, "Location: " + elsewhere.endpoint() + "/bucket/x\r\n"}});
    EXPECT_EQ(Put(server.endpoint()), kStoreRefused) << status;
    EXPECT_EQ(failure_.http_code, status);
    EXPECT_EQ(server.requests().size(), 1U) << status;
  }
  EXPECT_EQ(elsewhere.requests().size(), 0U);
}

TEST_F(HttpStoreTest, AConnectionThatBreaksInMidUploadIsTriedThreeTimes) {
  SetBody(std::string(8000000, 'b'));
  ScriptedAnswer answer;
  answer.close_after = 1000000;
  ScriptedServer server({answer});
  EXPECT_EQ(Put(server.endpoint()), kStoreUnreachable);
  EXPECT_EQ(server.requests().size(), 3U);
}

TEST_F(HttpStoreTest, AStoreThatDoesNotAnswerIsGivenUpWithinABound) {
  ScriptedAnswer answer;
  answer.stall = true;
  ScriptedServer server({answer});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Put(server.endpoint()), kStoreUnreachable);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GT(elapsed.count(), 0.9);
  EXPECT_LT(elapsed.count(), 30);
}

TEST_F(HttpStoreTest, APortWhereNobodyListensIsUnreachable) {
  std::string endpoint;
  {
    ScriptedServer server({{200}});
    endpoint = server.endpoint();
  }
  EXPECT_EQ(Put(endpoint), kStoreUnreachable);
  EXPECT_EQ(failure_.http_code, 0);
  EXPECT_NE(failure_.reason, "");
}

TEST_F(HttpStoreTest, PausesGrowBetweenTries) {
  options_.retry_pause_ms = 100;
  ScriptedServer server({{500}});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Put(server.endpoint()), kStoreFailed);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed.count(), 0.4);  // 100 and 300 ms.
}

TEST_F(HttpStoreTest, CredentialsWithLineBreaksAreNotSent) {
  ScriptedServer server({{200}});
  EXPECT_EQ(Put(server.endpoint(), {"k", "s", "t\r\nX-Evil: 1"}), kStoreRefused);
  EXPECT_EQ(Put(server.endpoint(), {"k\n", "s", ""}), kStoreRefused);
  EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(HttpStoreTest, AnEmptyBodyIsStored) {
  SetBody("");
  ScriptedServer server({{200}});
  EXPECT_EQ(Put(server.endpoint()), kStored);
}

TEST_F(HttpStoreTest, AnArchiveThatCannotBeReadIsNoFaultOfTheStore) {
  ScriptedServer server({{200}});
  oru_test::WriteFile(dir_.Join("body"), "");  // Shorter than announced.
  EXPECT_EQ(Put(server.endpoint()), kArchiveNotWritten);
}

}  // namespace
}  // namespace reference_sdk
