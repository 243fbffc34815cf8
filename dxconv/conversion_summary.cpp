#include "dxconv/conversion_summary.h"

#include "dxconv/json.h"

#include <algorithm>
#include <cstdio>

namespace {

struct Counts {
    explicit Counts(const std::vector<Conversion>& files) {
        for (const Conversion& file : files)
            ++of[static_cast<std::size_t>(file.result)];
    }
    std::string Of(ConversionResult result) const {
        return std::to_string(of[static_cast<std::size_t>(result)]);
    }
    std::size_t of[5] = {};
};

const char* ResultName(ConversionResult result) {
    switch (result) {
    case ConversionResult::Converted:
        return "converted";
    case ConversionResult::Skipped:
        return "skipped";
    case ConversionResult::Failed:
        return "failed";
    case ConversionResult::Cancelled:
        return "cancelled";
    default:
        return "notStarted";
    }
}

std::string FileJson(const Conversion& file) {
    const bool converted = file.result == ConversionResult::Converted;
    const ConversionFigures& figures = file.figures;
    const auto number = [&](std::uint64_t n) { return converted ? std::to_string(n) : "null"; };
    char times[32] = "null";
    if (converted)
        std::snprintf(times, sizeof times, "%.1f", figures.timesRealTime);
    return "{\"in\":" + JsonText(file.in) + ",\"out\":" + JsonText(file.out) + ",\"result\":\"" +
           ResultName(file.result) + "\",\"exitCode\":" + std::to_string(static_cast<int>(file.code)) +
           ",\"reason\":" + (file.reason.empty() ? "null" : JsonText(file.reason)) +
           ",\"framesIn\":" + number(figures.framesIn) + ",\"framesOut\":" + number(figures.framesOut) +
           ",\"tailMs\":" + number(figures.tailMs) + ",\"timesRealTime\":" + times + "}";
}

} // namespace

std::string SummaryText(const std::vector<Conversion>& files) {
    using enum ConversionResult;
    const Counts counts(files);
    std::string text = std::to_string(files.size()) + (files.size() == 1 ? " file: " : " files: ") +
                       counts.Of(Converted) + " converted, " + counts.Of(Failed) + " failed, " +
                       counts.Of(Skipped) + " skipped";
    if (counts.Of(Cancelled) + counts.Of(NotStarted) != "00")
        text += ", " + counts.Of(Cancelled) + " cancelled, " + counts.Of(NotStarted) + " not started";
    text += '\n';
    for (const Conversion& file : files)
        if (file.result == Failed)
            text +=
                "failed: " + (file.reason.starts_with(file.in) ? "" : file.in + ": ") + file.reason + '\n';
    return text;
}

std::string SummaryJson(const std::vector<Conversion>& files) {
    using enum ConversionResult;
    const Counts counts(files);
    std::string json = "{";
    for (const ConversionResult result : {Converted, Failed, Skipped, Cancelled, NotStarted})
        json += std::string("\"") + ResultName(result) + "\":" + counts.Of(result) + ",";
    json += "\"files\":[";
    for (const Conversion& file : files)
        json += (&file == files.data() ? "" : ",") + FileJson(file);
    return json + "]}\n";
}
