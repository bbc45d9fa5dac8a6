// Built for another architecture: a library that the dynamic linker must refuse.
int OruForeignFunction(void) { return 1; }
