/* A library without build id and without symbol table of its own. */
int library_function(int x) { return x + 1; }
int library_other(int x) { return x + 2; }
