#include "dxconv/CBatch.h"
#include "dxconv/CError.h"
#include "dxconv/conversion_summary.h"
#include "dxconv/convert_file.h"
#include "dxconv/interruption.h"
#include "dxconv/text.h"
#include "dxconv/verbs.h"
#include "dxconv/worker.h"
#include "support/com.h"

namespace {

// When all failures say the same, so does the program.
ExitCode CodeOfAll(const std::vector<Conversion>& files) {
    ExitCode code = ExitCode::Ok;
    for (const Conversion& file : files) {
        if (file.result == ConversionResult::Cancelled || file.result == ConversionResult::NotStarted)
            return ExitCode::Cancelled;
        if (file.result != ConversionResult::Failed)
            continue;
        code = code == ExitCode::Ok || code == file.code ? file.code : ExitCode::SomeFailed;
    }
    return code;
}

std::string Summary(const ConvertOptions& options, const std::vector<Conversion>& files) {
    const Conversion& first = files.front();
    if (options.json)
        return SummaryJson(files);
    if (options.quiet)
        return {};
    if (!options.outDir.empty())
        return SummaryText(files);
    return first.result == ConversionResult::Skipped ? first.out + ": skipped, it exists already\n" : "";
}

} // namespace

void RunConvert(const ConvertOptions& options) {
    ConvertOptions one = options;
    one.in = Utf8(OwnPage()->input);
    one.out = Utf8(OwnPage()->output);
    ConvertFile(one);
}

ExitCode SuperviseConvert(const ConvertOptions& options) {
    if (!options.outDir.empty()) { // a wrong name of the effect is one error, not one a file
        const CComApartment com;
        SettingsFor(options);
    }
    std::vector<Conversion> files = ListConversions(options);
    CBatch(options, files).Run();
    if (options.outDir.empty() && files.front().result == ConversionResult::NotStarted)
        ThrowIfCancelled(files.front().out);
    if (!Print(STD_OUTPUT_HANDLE, Summary(options, files)))
        throw CError(ExitCode::Output, "the summary",
            "cannot be written: " + SystemErrorText() + "; what was converted is complete");
    return CodeOfAll(files);
}
