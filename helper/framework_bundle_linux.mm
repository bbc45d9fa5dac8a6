#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#import "helper/framework_bundle.h"
#import "helper/readable_string.h"

namespace {

bool IsDirectory(const std::string &path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The code of a framework has the framework's name without its extension.
std::string ExecutableName(const std::string &framework) {
  const std::string name = framework.substr(framework.rfind('/') + 1);
  return name.substr(0, name.rfind('.'));
}

// What is there but is no regular file is not opened: a pipe would keep the linker waiting.
bool IsNoFile(const std::string &path) {
  struct stat info {};
  return stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode);
}

// Versioned frameworks keep their code under Versions/Current, the link on top of it being
// optional; flat ones have it directly inside.
std::string ExecutablePath(const std::string &framework) {
  const std::string name = ExecutableName(framework);
  std::string versioned = framework + "/Versions/Current/" + name;
  if (access(versioned.c_str(), F_OK) == 0) return versioned;
  return framework + "/" + name;
}

NSError *LoadError(const std::string &reason) {
  NSDictionary *info = [NSDictionary dictionaryWithObject:ReadableString(reason.c_str())
                                                   forKey:NSLocalizedDescriptionKey];
  return [NSError errorWithDomain:NSCocoaErrorDomain code:0 userInfo:info];
}

}  // namespace

@interface OruRTCFrameworkBundle : NSObject {
  std::string *_path;
}
+ (instancetype)bundleWithPath:(NSString *)path;
- (NSString *)executablePath;
- (BOOL)loadAndReturnError:(NSError **)error;
- (BOOL)unload;
@end

@implementation OruRTCFrameworkBundle

+ (instancetype)bundleWithPath:(NSString *)path {
  const std::string text = Utf8Text(path);
  if (text.empty() || text[0] != '/' || !IsDirectory(text)) return nil;
  OruRTCFrameworkBundle *bundle = [[[self alloc] init] autorelease];
  bundle->_path = new std::string(text);
  return bundle;
}

- (void)dealloc {
  delete _path;
  [super dealloc];
}

- (NSString *)executablePath {
  return ReadableString(ExecutablePath(*_path).c_str());
}

// Everything is bound at once: a missing symbol is to be an error here, not a crash in mid-upload.
- (BOOL)loadAndReturnError:(NSError **)error {
  const std::string path = ExecutablePath(*_path);
  if (IsNoFile(path)) {
    if (error != nullptr) *error = LoadError(path + ": not a regular file");
    return NO;
  }
  if (dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL) != nullptr) return YES;
  const char *reason = dlerror();
  if (error != nullptr) *error = LoadError(reason != nullptr ? reason : "unknown reason");
  return NO;
}

// GCC's runtime keeps its pointers into classes for good: code that was loaded stays mapped until
// the process ends.
- (BOOL)unload {
  return NO;
}

@end

Class FrameworkBundleClass() { return [OruRTCFrameworkBundle class]; }

bool FrameworkExists(const char *path) { return access(path, F_OK) == 0; }
