// A library with debug information, for the source lookup.
extern "C" {

extern const int oru_fixture_line;
const int oru_fixture_line = __LINE__ + 1;
int OruFixtureFunction(int value) { return value * 3; }
}
