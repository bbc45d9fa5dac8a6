// Compiled to a Mach-O library with many symbols of C++.
namespace oru_sample {

template <int N>
__attribute__((noinline)) int Times(int x) {
  return x * N + Times<N - 1>(x + 1);
}
template <>
__attribute__((noinline)) int Times<0>(int x) {
  return x;
}

struct Shape {
  virtual ~Shape();
  virtual int Area() const;
  int side = 3;
};
Shape::~Shape() = default;
int Shape::Area() const { return side * side + Times<40>(side); }

}  // namespace oru_sample

void operator delete(void*) noexcept {}
void operator delete(void*, unsigned long) noexcept {}
