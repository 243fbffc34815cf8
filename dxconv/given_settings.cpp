#include "dxconv/given_settings.h"

#include "dxconv/CError.h"
#include "dxconv/files.h"
#include "dxconv/settings_text.h"
#include "dxconv/text.h"

namespace {

// Checked here because the module takes what it cannot read for "no effect".
std::wstring CheckedSettings(const std::wstring& settings, const std::string& subject) {
    if (!settings.empty() && !IsSettings(settings))
        throw CError(
            ExitCode::Effect, subject, "is no settings text (NAME=X and hexadecimal digits); copy it again");
    return settings;
}

} // namespace

std::wstring GivenSettings(const std::string& text, const std::string& file) {
    if (!text.empty())
        return CheckedSettings(Wide(text), "--settings");
    if (file.empty())
        return {};
    std::wstring settings;
    if (!DecodeTextFile(ReadSmallFile(file, "--settings-file"), settings))
        throw CError(ExitCode::Effect, file, "is not text; save it as UTF-8 or UTF-16");
    return CheckedSettings(settings, file);
}
