#include "benchmarks/report.h"

#include <cstdio>

void PrintSection(const std::string& title, const std::string& text) {
    std::printf("\n## %s\n", title.c_str());
    if (!text.empty())
        std::printf("\n%s\n", text.c_str());
}

void PrintTableHead(const std::string& unit) {
    std::printf("\n| what | ours, %s | against | its %s | ratio | goal | |\n", unit.c_str(), unit.c_str());
    std::printf("|---|--:|---|--:|--:|--:|---|\n");
}

void PrintRow(const Comparison& row) {
    const double ratio = row.ratio.value_or(row.ours / row.peers);
    std::printf(
        "| %s | %.3g | %s | %.3g | %.2f |", row.what.c_str(), row.ours, row.peer.c_str(), row.peers, ratio);
    if (row.goal)
        std::printf(" %.2f | %s |\n", *row.goal, ratio <= *row.goal ? "met" : "missed");
    else
        std::printf(" | |\n");
    std::fflush(stdout);
}

void PrintParts(const std::string& whole, const std::string& unit, const std::vector<Part>& parts) {
    std::printf("\n| %s | %s | share |\n|---|--:|--:|\n", whole.c_str(), unit.c_str());
    for (const Part& part : parts)
        std::printf("| %s | %.3g | %.0f %% |\n", part.what.c_str(), part.value,
            100 * part.value / parts.front().value);
    std::fflush(stdout);
}

std::string WithCommas(unsigned long long number) {
    std::string text = std::to_string(number);
    for (std::size_t at = text.size(); at > 3;)
        text.insert(at -= 3, 1, ',');
    return text;
}
