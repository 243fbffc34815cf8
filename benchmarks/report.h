#pragma once

#include <optional>
#include <string>
#include <vector>

// What a benchmark prints: Markdown, on the standard output.

/// Starts a section. text: what is measured and how; may be empty.
void PrintSection(const std::string& title, const std::string& text);

/// Starts a table of comparisons. unit: of both figures, say "ns/frame".
void PrintTableHead(const std::string& unit);

struct Comparison {
    std::string what;
    double ours;
    std::string peer;                 ///< what it stands beside: another program, a copy, a limit
    double peers;                     ///< in the same unit as ours
    std::optional<double> goal = {};  ///< for the ratio, at most; none: shown for the reader
    std::optional<double> ratio = {}; ///< the middle of every round's; none: ours / peers
};

/// One line of the table: ours, the peer's, their ratio, the goal and whether it is met.
void PrintRow(const Comparison& comparison);

struct Part {
    std::string what;
    double value;
};

/// A table of what something is made of, each part also as a share of the first, which is the whole.
void PrintParts(const std::string& whole, const std::string& unit, const std::vector<Part>& parts);

/// 65536 as "65,536".
std::string WithCommas(unsigned long long number);
