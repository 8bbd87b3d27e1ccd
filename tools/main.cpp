#include <iostream>

#include "program.h"

int main(int argc, char **argv) {
  std::ios::sync_with_stdio(false);
  return mipo::tools::run_program(argc, argv, std::cout, std::cerr);
}
