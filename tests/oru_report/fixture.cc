// A library with debug information, for the symbol store.
extern "C" {

extern const int oru_fixture_line;
extern const int oru_fixture_inline_line;

const int oru_fixture_inline_line = __LINE__ + 2;
static inline __attribute__((always_inline)) int Tripled(const volatile int* value) {
  return *value * 3;
}

const int oru_fixture_line = __LINE__ + 1;
int OruFixtureFunction(const volatile int* value) { return Tripled(value) + 1; }
}
