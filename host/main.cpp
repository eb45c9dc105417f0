#include <iostream>

#include "host/app.h"

int main(int argc, char** argv) {
  return static_cast<int>(host::RunHost({argv + 1, argv + argc}, std::cout, std::cerr));
}
