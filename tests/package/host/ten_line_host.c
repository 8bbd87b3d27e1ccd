#include <mipo/open.h>
#include <stdio.h>

int main(void) {
  mipo_library library;
  if (mipo_open(&library) != 0) return fprintf(stderr, "%s\n", library.message), 1;
  ub8 a = 0xff00, b = 0x0ff0, both = 0;
  ub4 count = 0;
  library.record->mipo_lbiwvand_dydi(&both, &count, &a, &b, 64);
  printf("%s build: %u rows in both\n", library.level, count);
  return count == 4 ? 0 : 1;
}
