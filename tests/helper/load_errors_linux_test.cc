// Frameworks that cannot be loaded: the one line with the reason, in the words of this platform's
// dynamic linker.
#include <elf.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/helper/upload_bridge_fixture.h"

namespace oru_test {
namespace {

class LoadErrors : public UploadBridge {};

TEST_F(LoadErrors, AnEmptyFrameworkFolderIsALoadError) {
  MakeDirs(FrameworkPath());
  ExpectLoadError("cannot open shared object file: No such file or directory");
}

TEST_F(LoadErrors, AGarbageBinaryIsALoadError) {
  InstallFrameworkWithCode(std::string(5000, 'g'));
  ExpectLoadError("invalid ELF header");
}

TEST_F(LoadErrors, AnEmptyBinaryIsALoadError) {
  InstallFrameworkWithCode("");
  ExpectLoadError("file too short");
}

TEST_F(LoadErrors, ATruncatedBinaryIsALoadError) {
  InstallFrameworkWithCode(ReadFile(ORU_TEST_SDK).substr(0, 100));
  ExpectLoadError("OruRTCSdk: ");
}

TEST_F(LoadErrors, ABinaryOfAnotherWordSizeIsALoadError) {
  std::string code = ReadFile(ORU_TEST_SDK);
  code[EI_CLASS] = ELFCLASS32;
  InstallFrameworkWithCode(code);
  ExpectLoadError("wrong ELF class: ELFCLASS32");
}

TEST_F(LoadErrors, ABinaryOfAnotherArchitectureIsALoadError) {
  InstallFramework(ORU_TEST_FOREIGN_LIBRARY);
  ExpectLoadError("OruRTCSdk: ");
}

TEST_F(LoadErrors, AnUndefinedSymbolIsALoadError) {
  InstallFramework(ORU_TEST_SDK_UNDEFINED_SYMBOL);
  ExpectLoadError("undefined symbol: OruTestFunctionThatNobodyDefines");
}

TEST_F(LoadErrors, AFolderInTheBinarysPlaceIsALoadError) {
  MakeDirs(FrameworkPath() + "/OruRTCSdk");
  ExpectLoadError("OruRTCSdk: ");
}

TEST_F(LoadErrors, APipeInTheBinarysPlaceIsALoadErrorAtOnce) {
  InstallFramework(ORU_TEST_SDK);
  const std::string code = FrameworkPath() + "/Versions/A/OruRTCSdk";
  ASSERT_EQ(remove(code.c_str()), 0);
  ASSERT_EQ(mkfifo(code.c_str(), 0600), 0);
  options_.timeout_s = 10;
  ExpectLoadError("OruRTCSdk: not a regular file");
}

TEST_F(LoadErrors, ADeviceInTheBinarysPlaceIsALoadError) {
  InstallFramework(ORU_TEST_SDK);
  const std::string code = FrameworkPath() + "/Versions/A/OruRTCSdk";
  ASSERT_EQ(remove(code.c_str()), 0);
  ASSERT_EQ(symlink("/dev/zero", code.c_str()), 0);
  options_.timeout_s = 10;
  ExpectLoadError("OruRTCSdk: not a regular file");
}

}  // namespace
}  // namespace oru_test
