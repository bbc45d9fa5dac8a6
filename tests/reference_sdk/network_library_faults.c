// Preloaded into the command: a network library that is older, poorer or differently set up than
// this machine's. The environment says how:
//   ORU_TEST_CURL_REFUSED_CALL    the call of curl_easy_setopt with this number, from 1, answers
//                                 "unknown option"; counted over the whole process
//   ORU_TEST_CURL_REFUSED_OPTION  so does every one with this option's number
//   ORU_TEST_CURL_VERSION         the version that the library gives for its own, as a number
//   ORU_TEST_CURL_CA_FOLDER       the folder of certificates that a new handle trusts
#include <dlfcn.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>

enum { kUnknownOption = 48, kOptionCaPath = 10097 };

typedef int (*SetOption)(void*, int, ...);

// The head of the record; what follows is not looked at.
struct VersionInfo {
  int age;
  const char* version;
  unsigned int version_num;
  char rest[512];
};

static long Wanted(const char* name) {
  const char* text = getenv(name);
  return text != NULL ? strtol(text, NULL, 0) : 0;
}

static SetOption RealSetOption(void) { return (SetOption)dlsym(RTLD_NEXT, "curl_easy_setopt"); }

int curl_easy_setopt(void* handle, int option, ...) {
  static long calls;
  va_list arguments;
  va_start(arguments, option);
  void* value = va_arg(arguments, void*);
  va_end(arguments);
  if (++calls == Wanted("ORU_TEST_CURL_REFUSED_CALL")) return kUnknownOption;
  if (option == Wanted("ORU_TEST_CURL_REFUSED_OPTION")) return kUnknownOption;
  return RealSetOption()(handle, option, value);
}

static void SetDefaults(void* handle) {
  const char* folder = getenv("ORU_TEST_CURL_CA_FOLDER");
  if (handle != NULL && folder != NULL) RealSetOption()(handle, kOptionCaPath, folder);
}

void* curl_easy_init(void) {
  void* handle = ((void* (*)(void))dlsym(RTLD_NEXT, "curl_easy_init"))();
  SetDefaults(handle);
  return handle;
}

void curl_easy_reset(void* handle) {
  ((void (*)(void*))dlsym(RTLD_NEXT, "curl_easy_reset"))(handle);
  SetDefaults(handle);
}

void* curl_version_info(int age) {
  static struct VersionInfo info;
  void* real = ((void* (*)(int))dlsym(RTLD_NEXT, "curl_version_info"))(age);
  const long version = Wanted("ORU_TEST_CURL_VERSION");
  if (version == 0) return real;
  memcpy(&info, real, offsetof(struct VersionInfo, rest));
  info.version = "of a test";
  info.version_num = (unsigned int)version;
  return &info;
}
