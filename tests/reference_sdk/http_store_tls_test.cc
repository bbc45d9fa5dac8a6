// The store behind TLS: whose certificate is accepted, and what is said about others.
#include <gtest/gtest.h>

#include <string>

#include "tests/reference_sdk/http_store_fixture.h"
#include "tests/reference_sdk/tls_store.h"

namespace reference_sdk {
namespace {

class TlsStoreTest : public HttpStoreTest {
 protected:
  TlsStoreTest() {
    MakeCertificate(dir_.path(), "own",
                    {"-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1"});
    // A name that would colour a terminal.
    MakeCertificate(dir_.path(), "hostile", {"-subj", "/CN=evil\x1b[31mname"});
  }
};

TEST_F(TlsStoreTest, AnUnknownCertificateIsRefusedAndNotTriedAgain) {
  const TlsStore store(dir_.path(), "own");
  EXPECT_EQ(Put(store.Endpoint()), kStoreUnreachable);
  EXPECT_NE(failure_.reason.find("certificate"), std::string::npos) << failure_.reason;
  EXPECT_EQ(store.Connections(), 1U);
}

TEST_F(TlsStoreTest, ATrustedCertificateIsAccepted) {
  const TlsStore store(dir_.path(), "own");
  options_.ca_file = dir_.Join("own.pem");
  EXPECT_EQ(Put(store.Endpoint()), kStored) << failure_.reason;
  EXPECT_EQ(store.Connections(), 1U);
}

TEST_F(TlsStoreTest, ATrustedCertificateOfAnotherHostIsRefusedAndNotTriedAgain) {
  const TlsStore store(dir_.path(), "own");
  options_.ca_file = dir_.Join("own.pem");
  EXPECT_EQ(Put(store.Endpoint("localhost")), kStoreUnreachable);
  EXPECT_EQ(store.Connections(), 1U);
}

TEST_F(TlsStoreTest, NothingThatACertificateSaysIsInTheReason) {
  const TlsStore store(dir_.path(), "hostile");
  options_.ca_file = dir_.Join("hostile.pem");
  EXPECT_EQ(Put(store.Endpoint("localhost")), kStoreUnreachable);
  EXPECT_NE(failure_.reason.find("certificate"), std::string::npos) << failure_.reason;
  for (const char* part : {"evil", "name", "31m", "\x1b"}) {
    EXPECT_EQ(failure_.reason.find(part), std::string::npos) << failure_.reason;
  }
}

}  // namespace
}  // namespace reference_sdk
