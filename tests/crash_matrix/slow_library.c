// A library that takes as long to load as its opener lets it: its constructor runs with the dynamic
// linker's lock held.
__attribute__((visibility("default"))) extern void OpenedSlowLibrary(void);

__attribute__((constructor)) static void Load(void) { OpenedSlowLibrary(); }
