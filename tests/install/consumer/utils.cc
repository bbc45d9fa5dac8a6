// Takes a URL apart.
#include <cstdio>

#include "utils/random_utils.h"
#include "utils/string_utils.h"
#include "utils/url_utils.h"

int main() {
  printf("%s %d\n", tessik::utils::removeUrlKey("store?a=1&b=2", "a").c_str(),
         tessik::utils::APHash("oru"));
  printf("%zu pieces\n", tessik::utils::splitString("a,b,c", ',').size());
  return tessik::utils::randomStringForSignal(1, 8, "key").size() == 8 ? 0 : 1;
}
