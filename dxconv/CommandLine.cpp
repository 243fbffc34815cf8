#include "dxconv/CommandLine.h"

#include "dxconv/CError.h"
#include "dxconv/help_text.h"
#include "dxconv/text.h"

#define CLI11_HAS_FILESYSTEM 0
#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>

namespace {

constexpr char kFooter[] =
    R"(Exit status: 0 done, 1 internal error, 2 command line, 3 IN, 4 OUT, 5 effect or settings not found or not valid,
6 the effect or the module failed, 7 the module cannot be loaded, 8 cancelled, 9 the effect ended the process,
10 the effect did not return within --timeout, 11 several files failed for different reasons.)";

constexpr char kConvertFooter[] =
    R"(Effects are named as 'dxconv effects' lists them. '-' as IN or OUT is the standard input or output; OUT is
written when the conversion is complete, and not at all when it fails.

  dxconv convert in.wav out.wav --effect Echo
  dxconv convert *.wav --out-dir echoed --effect Echo
  dxconv convert *.wav --out-dir echoed --effect Echo --skip-existing    goes on where it was cancelled

With --out-dir each IN is written under its own name into that folder, which is made when it is missing. Every
file has a process of its own: one that fails is named at once and again at the end, the others go on. Use
--jobs 1 when an effect does not bear to run several times at once. Logs go to a folder for each file.

)";

// An unset variable of a script must not mean that the option was not given.
const CLI::Validator kNotEmpty([](const std::string& value) { return value.empty() ? "is empty" : ""; }, "");

struct SettingsOptions {
    CLI::Option* text;
    CLI::Option* file;
};

SettingsOptions AddSettings(CLI::App& verb, std::string& text, std::string& file) {
    const SettingsOptions added{verb.add_option("--settings", text, "Settings text of a host"),
        verb.add_option("--settings-file", file, "File with the settings text")->check(kNotEmpty)};
    added.text->excludes(added.file);
    return added;
}

void AddModule(CLI::App& verb, std::string& module) {
    verb.add_option("--module", module, "Another module than dxwrapper.dll")->check(kNotEmpty)->group("");
}

void AddTimeout(CLI::App& verb, unsigned& seconds, const char* what) {
    verb.add_option("--timeout", seconds, std::string(what) + ", in seconds; 0 = no limit")
        ->check(CLI::Range(0, 86400))
        ->capture_default_str();
}

void AddScan(CLI::App& app, ScanOptions& options) {
    CLI::App* scan = app.add_subcommand("scan", "Finds and tests effects, and stores the usable ones");
    scan->footer(kScanHelp);
    auto* headless =
        scan->add_flag("--headless", options.headless, "Tests all candidates without the scanner's window");
    scan->add_flag("--retry", options.retry, "Tries again what ended badly last time")->needs(headless);
    AddTimeout(*scan, options.timeoutSeconds, "Longest time that a candidate may take to answer");
}

void AddConvert(CLI::App& app, ConvertOptions& options) {
    CLI::App* convert = app.add_subcommand("convert", "Runs a WAV file through an effect");
    convert->footer(std::string(kConvertFooter) + kFooter);
    convert->add_option("FILES", options.names, "IN and OUT; with --out-dir any number of IN")->required();
    auto* outDir =
        convert->add_option("--out-dir", options.outDir, "Folder for the converted files")->check(kNotEmpty);
    convert->add_option("--jobs", options.jobs, "Files at once; 0 = one for each processor")
        ->check(CLI::Range(0u, ConvertOptions::kMostJobs))
        ->capture_default_str()
        ->needs(outDir);
    auto* skip =
        convert->add_flag("--skip-existing", options.skipExisting, "Leaves out what is there already");
    convert->add_flag("--force", options.force, "Replaces files that exist")->excludes(skip);
    auto* effect = convert->add_option("--effect", options.effect, "Effect, by name or class id {...}")
                       ->check(kNotEmpty);
    const SettingsOptions settings = AddSettings(*convert, options.settings, options.settingsFile);
    convert->add_option("--state-file", options.stateFile, "File with the effect's state")
        ->check(kNotEmpty)
        ->needs(effect);
    effect->excludes(settings.text)->excludes(settings.file);
    convert
        ->add_option("--block-ms", options.blockMs,
            "Milliseconds of audio per block; at most 5000 and a megabyte when not given")
        ->check(CLI::Range(1, 60000));
    AddTimeout(*convert, options.timeoutSeconds, "Longest time that one call into the effect may take");
    convert->add_option("--log-dir", options.logDir, "Folder for the module's logs")->check(kNotEmpty);
    convert->add_flag("--quiet", options.quiet, "No progress and no summary");
    convert->add_flag("--json", options.json, "The summary as JSON on the standard output");
    AddModule(*convert, options.module);
}

void AddJson(CLI::App& verb, bool& json) {
    verb.add_flag("--json", json, "One JSON document instead of lines");
}

void AddEffects(CLI::App& app, EffectsOptions& options) {
    CLI::App* effects = app.add_subcommand("effects", "Lists the installed effects: class id and name");
    effects->footer(kEffectsHelp);
    AddJson(*effects, options.json);
}

void AddList(CLI::App& app, ListOptions& options) {
    CLI::App* list = app.add_subcommand("list", "Lists the effects that the last scan stored as usable");
    list->footer(kListHelp);
    list->add_flag("--refused", options.refused, "Those that headless scans refused, and why");
    AddJson(*list, options.json);
}

void AddCheck(CLI::App& app, CheckOptions& options) {
    CLI::App* check = app.add_subcommand("check", "Tests one effect and says why it is refused");
    check->footer(kCheckHelp);
    check->add_option("EFFECT", options.effect, "Effect, by name or class id {...}")->required();
    AddTimeout(*check, options.timeoutSeconds, "Longest time that the effect may take to answer");
    AddJson(*check, options.json);
}

void AddDoctor(CLI::App& app, DoctorOptions& options) {
    CLI::App* doctor = app.add_subcommand("doctor", "Examines the installation and says what to do");
    doctor->footer(kDoctorHelp);
    AddTimeout(*doctor, options.timeoutSeconds, "Longest time that one call into the module may take");
    AddJson(*doctor, options.json);
    AddModule(*doctor, options.module);
}

void AddPanel(CLI::App& app, PanelOptions& options) {
    CLI::App* panel = app.add_subcommand("panel", "Opens the settings panel of the module");
    panel->footer(kPanelHelp);
    AddSettings(*panel, options.settings, options.settingsFile);
    AddModule(*panel, options.module);
}

void CheckNames(const ConvertOptions& options) {
    if (!options.outDir.empty())
        return;
    if (options.names.size() < 2)
        throw CLI::RequiredError("OUT");
    if (options.names.size() > 2)
        throw CLI::ValidationError("--out-dir", "is required for more than one IN");
    if (options.json && options.names.back() == "-")
        throw CLI::ValidationError("--json", "takes the standard output, which OUT is; name a file");
}

// The parameters of DirectX effects are on their pages only: an option that users of other hosts look for.
bool SetsParameter(const std::vector<std::string>& arguments) {
    return std::any_of(arguments.begin(), arguments.end(),
        [](const std::string& argument) { return argument == "--set" || argument.starts_with("--set="); });
}

} // namespace

CommandLine ParseCommandLine(std::vector<std::string> arguments) {
    CommandLine result;
    CLI::App app("Runs DirectX audio effects over WAV files", "dxconv");
    app.allow_windows_style_options(false);
    app.footer(std::string(kFooter) + "\n\n'dxconv VERB --help' tells more of a verb, with examples.");
    app.set_version_flag("--version", "dxconv " DXCONV_VERSION, "Prints the version");
    AddConvert(app, result.convert);
    AddEffects(app, result.effects);
    AddList(app, result.list);
    AddScan(app, result.scan);
    AddCheck(app, result.check);
    AddPanel(app, result.panel);
    AddDoctor(app, result.doctor);
    app.add_subcommand("version", "Prints the version")->footer(kVersionHelp);
    const bool setsParameter = SetsParameter(arguments);
    try {
        std::reverse(arguments.begin(), arguments.end());
        app.parse(arguments);
        if (app.get_subcommands().empty())
            throw CLI::RequiredError("a verb");
        static const std::map<std::string, Verb> kVerbs{{"convert", Verb::Convert},
            {"effects", Verb::Effects}, {"list", Verb::List}, {"scan", Verb::Scan}, {"check", Verb::Check},
            {"panel", Verb::Panel}, {"doctor", Verb::Doctor}, {"version", Verb::Version}};
        result.verb = kVerbs.at(app.get_subcommands().front()->get_name());
        if (result.verb == Verb::Convert)
            CheckNames(result.convert);
    } catch (const CLI::CallForHelp&) {
        Print(STD_OUTPUT_HANDLE, app.help());
    } catch (const CLI::CallForVersion& version) {
        Print(STD_OUTPUT_HANDLE, std::string(version.what()) + "\n");
    } catch (const CLI::ParseError& error) {
        if (setsParameter)
            throw CError(ExitCode::Usage, "--set",
                "DirectX effects have no common parameters that could be set by name; adjust the effect on "
                "its "
                "own page with 'dxconv panel --settings-file F', then convert with the same option");
        const std::string what = error.what();
        const std::size_t colon = what.starts_with("--") ? what.find(": ") : what.npos;
        throw colon != what.npos
            ? CError(ExitCode::Usage, what.substr(0, colon), what.substr(colon + 2) + "; see --help")
            : CError(ExitCode::Usage, "command line", what + "; see dxconv --help");
    }
    return result;
}
