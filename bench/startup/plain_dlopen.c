// What the command does, without Foundation: opens the library argv[1], looks up "Upload" and calls
// it with empty strings.
#include <dlfcn.h>
#include <stdio.h>

typedef int (*UploadFunction)(const char*, const char*, const char*, const char*, const char*,
                              const char*, const char*);

int main(int argc, char** argv) {
  void* library = argc > 1 ? dlopen(argv[1], RTLD_NOW | RTLD_GLOBAL) : NULL;
  void* symbol = library != NULL ? dlsym(library, "Upload") : NULL;
  if (symbol == NULL) {
    fprintf(stderr, "no upload function: %s\n", dlerror());
    return 1;
  }
  const UploadFunction upload = (UploadFunction)symbol;
  const int status = upload("", "", "", "", "", "", "");
  dlclose(library);
  return status;
}
