// Prints docs/abi.json, from which other languages can make their declarations.
#include "tests/abi/AbiTable.h"

#include <cstdio>

int main() { std::printf("%s\n", AbiTable().dump(1).c_str()); }
