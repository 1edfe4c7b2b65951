#include <iostream>

#include "cli/Command.h"

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  return Cli::run({argv, static_cast<std::size_t>(argc)}, std::cout, std::cerr);
}
