// A real S3-compatible store of the test's own, on loopback.
#ifndef TESTS_REFERENCE_SDK_OBJECT_STORE_H_
#define TESTS_REFERENCE_SDK_OBJECT_STORE_H_

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace reference_sdk {

// Runs from construction to destruction; ends with the test's process, however that ends.
class ObjectStore {
 public:
  ObjectStore();
  ~ObjectStore();
  ObjectStore(const ObjectStore&) = delete;
  ObjectStore& operator=(const ObjectStore&) = delete;

  const std::string& endpoint() const { return endpoint_; }
  const std::string& access_key() const { return access_key_; }
  const std::string& secret_key() const { return secret_key_; }

  // Bytes that the server of objects has written so far, its log included: grows while an object
  // arrives.
  uint64_t ObjectBytesWritten() const;
  // Kills all of the store at once, faster than the script's command does.
  void Crash();

  // One command of tests/object_store/object_store on this store ("bucket logs"); its output.
  std::string Command(const std::vector<std::string>& arguments);

 private:
  void ReadSettings(int fd);
  pid_t ServerPid(const std::string& name) const;

  std::string work_dir_;
  std::string endpoint_;
  std::string access_key_;
  std::string secret_key_;
  pid_t pid_ = -1;
  int stdin_ = -1;
};

}  // namespace reference_sdk

#endif  // TESTS_REFERENCE_SDK_OBJECT_STORE_H_
