// A store behind TLS, with a certificate of its own making.
#ifndef TESTS_REFERENCE_SDK_TLS_STORE_H_
#define TESTS_REFERENCE_SDK_TLS_STORE_H_

#include <sys/types.h>

#include <string>
#include <vector>

namespace reference_sdk {

// Makes a self-signed certificate, FOLDER/NAME.pem, and its key, FOLDER/NAME.key. `whose` are
// options of "openssl req".
void MakeCertificate(const std::string& folder, const std::string& name,
                     const std::vector<std::string>& whose);

// Answers every PUT with 200, from construction to destruction.
class TlsStore {
 public:
  // The certificate is FOLDER/NAME.pem. `newest` is the newest version that it speaks, "1.1" or "".
  TlsStore(const std::string& folder, const std::string& name, const std::string& newest = "");
  ~TlsStore();
  TlsStore(const TlsStore&) = delete;
  TlsStore& operator=(const TlsStore&) = delete;

  // "https://HOST:PORT"; both hosts are this machine.
  std::string Endpoint(const std::string& host = "127.0.0.1") const {
    return "https://" + host + ":" + port_;
  }
  // How often somebody has connected; a failed handshake counts, too.
  size_t Connections() const;

 private:
  const std::string connections_;
  std::string port_;
  pid_t pid_ = -1;
};

}  // namespace reference_sdk

#endif  // TESTS_REFERENCE_SDK_TLS_STORE_H_
