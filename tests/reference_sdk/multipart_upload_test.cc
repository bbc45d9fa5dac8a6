// Archives that go to a store in parts.
#include "examples/reference_sdk/multipart_upload.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/reference_sdk/http_store_fixture.h"
#include "tests/reference_sdk/scripted_server.h"

namespace reference_sdk {
namespace {

ScriptedAnswer Xml(const std::string& body) {
  ScriptedAnswer answer;
  answer.raw = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) +
               "\r\nConnection: close\r\n\r\n" + body;
  return answer;
}

ScriptedAnswer Part(const std::string& etag) { return {200, "ETag: " + etag + "\r\n"}; }

const ScriptedAnswer kBegun =
    Xml("<?xml version='1.0'?><InitiateMultipartUploadResult><Bucket>bucket</Bucket>"
        "<UploadId>an/id+=</UploadId></InitiateMultipartUploadResult>");
const ScriptedAnswer kCompleted =
    Xml("<CompleteMultipartUploadResult><Key>k</Key></CompleteMultipartUploadResult>");

class MultipartUploadTest : public HttpStoreTest {
 protected:
  MultipartUploadTest() {
    options_.single_put_bytes = 10;
    options_.part_bytes = 4;
    SetBody("the archive");
  }

  static std::string RequestLine(const SeenRequest& request) {
    return request.head.substr(0, request.head.find(" HTTP/1.1"));
  }
};

TEST_F(MultipartUploadTest, ALargeArchiveArrivesInPartsThatAreNamedInOrder) {
  ScriptedServer server({kBegun, Part("\"e1\""), Part("\"e2\""), Part("\"e3\""), kCompleted});
  EXPECT_EQ(Put(server.endpoint()), kStored) << failure_.reason;
  const auto seen = server.requests();
  ASSERT_EQ(seen.size(), 5U);
  const std::string path = " /bucket/app/key.zip?";
  EXPECT_EQ(RequestLine(seen[0]), "POST" + path + "uploads=");
  const std::string upload = "uploadId=an/id%2B%3D";
  for (size_t part = 1; part <= 3; ++part) {
    EXPECT_EQ(RequestLine(seen[part]),
              "PUT" + path + "partNumber=" + std::to_string(part) + "&" + upload);
    EXPECT_NE(seen[part].head.find("Authorization: AWS4-HMAC-SHA256"), std::string::npos);
  }
  EXPECT_EQ(seen[1].body + "|" + seen[2].body + "|" + seen[3].body, "the |arch|ive");
  EXPECT_EQ(RequestLine(seen[4]), "POST" + path + upload);
  EXPECT_EQ(seen[4].body,
            "<CompleteMultipartUpload>"
            "<Part><PartNumber>1</PartNumber><ETag>&quot;e1&quot;</ETag></Part>"
            "<Part><PartNumber>2</PartNumber><ETag>&quot;e2&quot;</ETag></Part>"
            "<Part><PartNumber>3</PartNumber><ETag>&quot;e3&quot;</ETag></Part>"
            "</CompleteMultipartUpload>");
}

TEST_F(MultipartUploadTest, AnArchiveOfExactlyTheLimitIsOnePut) {
  options_.single_put_bytes = 11;
  ScriptedServer server({{200}});
  EXPECT_EQ(Put(server.endpoint()), kStored);
  ASSERT_EQ(server.requests().size(), 1U);
  EXPECT_EQ(RequestLine(server.requests()[0]), "PUT /bucket/app/key.zip");
}

TEST_F(MultipartUploadTest, APartThatFailedIsSentAgainAlone) {
  ScriptedServer server({kBegun, Part("1"), {503}, {0}, Part("2"), Part("3"), kCompleted});
  EXPECT_EQ(Put(server.endpoint()), kStored) << failure_.reason;
  const auto seen = server.requests();
  ASSERT_EQ(seen.size(), 7U);
  for (size_t again = 2; again <= 4; ++again) {
    EXPECT_NE(RequestLine(seen[again]).find("partNumber=2&"), std::string::npos);
    EXPECT_EQ(seen[again].body, "arch");
  }
}

TEST_F(MultipartUploadTest, AfterAFailureTheStoreIsToldToForgetTheParts) {
  ScriptedServer server({kBegun, Part("1"), {403}, {204}});
  EXPECT_EQ(Put(server.endpoint()), kStoreRefused);
  EXPECT_EQ(failure_.http_code, 403);
  const auto seen = server.requests();
  ASSERT_EQ(seen.size(), 4U);
  EXPECT_EQ(RequestLine(seen[3]), "DELETE /bucket/app/key.zip?uploadId=an/id%2B%3D");
}

TEST_F(MultipartUploadTest, AnErrorBehindASuccessfulHeadIsNoSuccess) {
  ScriptedServer server({kBegun,
                         Part("1"),
                         Part("2"),
                         Part("3"),
                         Xml("<Error><Code>InternalError</Code></Error>"),
                         {204}});
  EXPECT_EQ(Put(server.endpoint()), kStoreFailed);
  EXPECT_EQ(server.requests().back().head.find("DELETE "), 0U);
}

TEST_F(MultipartUploadTest, AStoreThatNamesNoUploadOrNoPartHasFailed) {
  ScriptedServer no_upload({Xml("<InitiateMultipartUploadResult/>")});
  EXPECT_EQ(Put(no_upload.endpoint()), kStoreFailed);
  EXPECT_EQ(no_upload.requests().size(), 1U);
  ScriptedServer no_part({kBegun, {200}, {204}});
  EXPECT_EQ(Put(no_part.endpoint()), kStoreFailed);
  EXPECT_EQ(no_part.requests().size(), 3U);
}

TEST(PartBytes, GrowsOnlyWhereThereWouldBeMoreThanAThousandParts) {
  EXPECT_EQ(PartBytes(1, 64), 64U);
  EXPECT_EQ(PartBytes(64000, 64), 64U);
  EXPECT_EQ(PartBytes(64001, 64), 65U);
}

TEST(TextOfElement, IsTheFirstOneWithoutElementsInside) {
  EXPECT_EQ(TextOfElement("<a><b>1</b><b>2</b></a>", "b"), "1");
  EXPECT_EQ(TextOfElement("<a><b><c/></b></a>", "b"), "");
  EXPECT_EQ(TextOfElement("<a><b>1", "b"), "");
  EXPECT_EQ(TextOfElement("", "b"), "");
}

}  // namespace
}  // namespace reference_sdk
