// What a store wants of whoever asks, and what one may know of its refusal.
#ifndef EXAMPLES_REFERENCE_SDK_STORE_ACCESS_H_
#define EXAMPLES_REFERENCE_SDK_STORE_ACCESS_H_

#include <string>

namespace reference_sdk {

struct Credentials {
  std::string access_key_id;
  std::string access_key_secret;
  // Not sent when empty.
  std::string security_token;
};

// What a failed upload may say about itself; never holds a credential or a text that the store
// sent.
struct StoreFailure {
  // The answer's status code, 0 without one.
  long http_code = 0;
  // Without control characters; "" when the code says it all.
  std::string reason;
};

}  // namespace reference_sdk

#endif  // EXAMPLES_REFERENCE_SDK_STORE_ACCESS_H_
