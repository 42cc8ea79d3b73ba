#include "Util/Assert.h"

#include <cstdio>
#include <cstdlib>

void AssertionFailed(const char* file, unsigned line, const char* expression) {
  fprintf(stderr, "%s:%u: failed assertion `%s'\n", file, line, expression);
  fflush(stderr);
  abort();
}
