#define PLAIN_LOOPS_OPTIMISED
#include "bench/plain_loops.cpp"
