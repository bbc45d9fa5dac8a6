// Calls the upload function once, as a process of its own.
//
//   upload_tool APPID KEY_ID SECRET TOKEN ENDPOINT BUCKET LOG_DIR
//
// Prints the status on standard output.
#include <cstdio>

#include "examples/reference_sdk/upload_log.h"

int main(int argc, char** argv) {
  if (argc != 8) return 2;
  printf("%d\n", reference_sdk::UploadLog(argv[1], argv[2], argv[3], argv[4], argv[5], argv[6],
                                          argv[7]));
  return 0;
}
