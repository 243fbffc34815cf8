#pragma once

#include <string>
#include <vector>

struct ChartPoint {
    double x;
    double y;
    double expected; ///< a second curve through the same x
};

struct ChartText {
    std::string x;        ///< what the horizontal axis counts
    std::string y;        ///< what the vertical one does
    std::string measured; ///< name of the points
    std::string expected; ///< name of the second curve
};

/// Draws the points in an SVG file, both axes logarithmic, readable on light and dark ground. False when the
/// file can't be written. All values are above 0.
bool WriteChart(const char* file, const ChartText& text, const std::vector<ChartPoint>& points);
