#include "benchmarks/chart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

// Pixels.
constexpr double kWidth = 560;
constexpr double kHeight = 260;
constexpr double kLeft = 62;
constexpr double kRight = 36;
constexpr double kTop = 30;
constexpr double kBottom = 40;

// One axis: whole decades of values onto pixels.
struct Axis {
    int first;
    int last;
    double from;
    double to;

    double At(double value) const {
        return from + (std::log10(value) - first) / (last - first) * (to - from);
    }
};

template <typename Value>
Axis Fit(const std::vector<ChartPoint>& points, Value&& valueOf, double from, double to) {
    Axis axis{99, -99, from, to};
    for (const ChartPoint& point : points) {
        axis.first = std::min(axis.first, static_cast<int>(std::floor(std::log10(valueOf(point)))));
        axis.last = std::max(axis.last, static_cast<int>(std::ceil(std::log10(valueOf(point)))));
    }
    axis.last = std::max(axis.last, axis.first + 1);
    return axis;
}

void PutGrid(std::FILE* file, const Axis& x, const Axis& y, const ChartText& text) {
    for (int n = x.first; n <= x.last; ++n)
        std::fprintf(file,
            "<path class='g' d='M%.0f %.0fV%.0f'/><text x='%.0f' y='%.0f' "
            "text-anchor='middle'>%.10g</text>\n",
            x.At(std::pow(10, n)), y.from, y.to, x.At(std::pow(10, n)), y.from + 15, std::pow(10, n));
    for (int n = y.first; n <= y.last; ++n)
        std::fprintf(file,
            "<path class='g' d='M%.0f %.0fH%.0f'/><text x='%.0f' y='%.0f' text-anchor='end'>%.10g</text>\n",
            x.from, y.At(std::pow(10, n)), x.to, x.from - 6, y.At(std::pow(10, n)) + 4, std::pow(10, n));
    std::fprintf(file, "<text x='%.0f' y='%.0f' text-anchor='middle'>%s</text>\n", (x.from + x.to) / 2,
        y.from + 32, text.x.c_str());
    std::fprintf(file, "<text x='4' y='14'>%s</text>\n", text.y.c_str());
    std::fprintf(file,
        "<circle class='m' cx='%.0f' cy='10' r='4'/><text x='%.0f' y='14'>%s</text>"
        "<path class='e' d='M%.0f 10h24'/><text x='%.0f' y='14'>%s</text>\n",
        x.from + 130, x.from + 140, text.measured.c_str(), x.from + 220, x.from + 250, text.expected.c_str());
}

} // namespace

bool WriteChart(const char* name, const ChartText& text, const std::vector<ChartPoint>& points) {
    std::FILE* const file = std::fopen(name, "wb");
    if (file == nullptr)
        return false;
    const Axis x = Fit(
        points, [](const ChartPoint& point) { return point.x; }, kLeft, kWidth - kRight);
    const Axis y = Fit(
        points, [](const ChartPoint& point) { return point.y; }, kHeight - kBottom, kTop);
    std::fprintf(file,
        "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 %.0f %.0f' width='%.0f' height='%.0f' "
        "font-family='sans-serif' font-size='11'>\n<style>text{fill:#768390}.g{stroke:#8b949e;"
        "stroke-opacity:.35}.m{fill:#2f81f7}.e{fill:none;stroke:#d29922;stroke-width:2}</style>\n",
        kWidth, kHeight, kWidth, kHeight);
    PutGrid(file, x, y, text);
    std::fprintf(file, "<path class='e' d='");
    for (std::size_t n = 0; n != points.size(); ++n)
        std::fprintf(file, "%c%.1f %.1f", n == 0 ? 'M' : 'L', x.At(points[n].x), y.At(points[n].expected));
    std::fprintf(file, "'/>\n");
    for (const ChartPoint& point : points)
        std::fprintf(file, "<circle class='m' cx='%.1f' cy='%.1f' r='4'/>\n", x.At(point.x), y.At(point.y));
    std::fprintf(file, "</svg>\n");
    return std::fclose(file) == 0;
}
