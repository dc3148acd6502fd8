#include <benchmark/benchmark.h>
int main() { return 0; }
