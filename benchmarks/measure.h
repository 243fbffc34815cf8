#pragma once

#include <functional>
#include <vector>

/// Times pieces of work side by side. Every round runs each contender once in turn, long enough to be timed,
/// so that what slows the machine slows all of them; a turn is the fastest of five tries, and the median of
/// the rounds counts.
///
/// Returns the seconds of one call of each contender, in their order. The contenders run a few times before
/// the first round. beforeTurn: called before each turn, and not timed. Threads: the caller's.
std::vector<double> MedianSeconds(
    const std::vector<std::function<void()>>& contenders, unsigned rounds = 151,
    const std::function<void()>& beforeTurn = [] {});

/// The same, of every round: [contender][round].
std::vector<std::vector<double>> SecondsOfRounds(
    const std::vector<std::function<void()>>& contenders, unsigned rounds,
    const std::function<void()>& beforeTurn = [] {});

double Median(std::vector<double> values);

/// The middle of the ratios of each round: a machine that is now fast and now slow leaves it alone.
double MedianRatio(const std::vector<double>& ours, const std::vector<double>& peers);

/// Makes the compiler believe that the memory is read and written here.
inline void Touch(void* memory) {
    asm volatile("" : : "r"(memory) : "memory");
}
