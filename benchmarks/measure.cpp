#include "benchmarks/measure.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {

// Short, so that most turns end before the system lets another program run.
constexpr double kTurnSeconds = 0.0001;

double SecondsOf(const std::function<void()>& work, std::size_t calls) {
    const auto start = std::chrono::steady_clock::now();
    for (std::size_t n = 0; n != calls; ++n)
        work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// An interrupt, or another program's share of the processor, seldom hits all of them.
double FastestOfTries(const std::function<void()>& work, std::size_t calls) {
    constexpr int kTries = 5;
    double fastest = SecondsOf(work, calls);
    for (int n = 1; n != kTries; ++n)
        fastest = std::min(fastest, SecondsOf(work, calls));
    return fastest;
}

std::size_t CallsPerTurn(const std::function<void()>& work) {
    std::size_t calls = 1;
    for (;;) {
        const double seconds = FastestOfTries(work, calls);
        if (seconds >= kTurnSeconds / 4)
            return std::max<std::size_t>(
                static_cast<std::size_t>(static_cast<double>(calls) * kTurnSeconds / seconds), 1);
        calls *= 4;
    }
}

} // namespace

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

double MedianRatio(const std::vector<double>& ours, const std::vector<double>& peers) {
    std::vector<double> ratios;
    for (std::size_t n = 0; n != ours.size(); ++n)
        ratios.push_back(ours[n] / peers[n]);
    return Median(std::move(ratios));
}

std::vector<std::vector<double>> SecondsOfRounds(const std::vector<std::function<void()>>& contenders,
    unsigned rounds, const std::function<void()>& beforeTurn) {
    std::vector<std::size_t> calls;
    for (const auto& work : contenders) {
        beforeTurn();
        calls.push_back(CallsPerTurn(work));
    }
    std::vector<std::vector<double>> seconds(contenders.size());
    for (unsigned round = 0; round != rounds; ++round)
        for (std::size_t n = 0; n != contenders.size(); ++n) {
            beforeTurn();
            seconds[n].push_back(FastestOfTries(contenders[n], calls[n]) / static_cast<double>(calls[n]));
        }
    return seconds;
}

std::vector<double> MedianSeconds(const std::vector<std::function<void()>>& contenders, unsigned rounds,
    const std::function<void()>& beforeTurn) {
    std::vector<double> medians;
    for (auto& values : SecondsOfRounds(contenders, rounds, beforeTurn))
        medians.push_back(Median(values));
    return medians;
}
