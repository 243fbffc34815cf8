#define PLAIN_LOOPS_OPTIMISED
#include "benchmarks/plain_loops.cpp"
