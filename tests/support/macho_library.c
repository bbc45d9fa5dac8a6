/* Compiled to Mach-O libraries for the tests of images, symbols and their readers. */
int exported_data = 7;
static int __attribute__((noinline)) hidden(int x) { return x * 3 + exported_data; }
int first_function(int x) { return hidden(x) + 1; }
int _with_underscore(int x) { return x - 1; }
int __two_underscores(int x) { return x - 2; }
int last_function(int x) { return first_function(x) + _with_underscore(x); }
int plain_name(int x) __asm__("no_leading_underscore");
int plain_name(int x) { return x + 5; }
__asm__(".globl _same_a\n.globl _same_b\n_same_a:\n_same_b:\n ret\n");
