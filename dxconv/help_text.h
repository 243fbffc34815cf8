#pragma once

// What the help of each verb ends with: more about it, and examples.

inline constexpr char kEffectsHelp[] =
    R"(These were not tried yet: 'dxconv scan' tries them all, 'dxconv check' one.
--json: {"effects": [{"clsid", "name"}]}

  dxconv effects
  dxconv effects --json)";

inline constexpr char kListHelp[] =
    R"(--json: {"stored": "complete", "missing" or "damaged", "effects": [{"clsid", "name"}]}
--refused --json: {"refused": [{"clsid", "name", "reason", "skipped"}]}; skipped: only --retry tries it again

  dxconv list
  dxconv list --refused)";

inline constexpr char kScanHelp[] =
    R"(--headless tries every candidate in a process of its own. One that crashed, ended its process or did not
answer is left out by the next scans, until --retry; 'dxconv list --refused' lists them with the reasons.

  dxconv scan
  dxconv scan --headless --timeout 10)";

inline constexpr char kCheckHelp[] =
    R"(--json: {"clsid", "name", "verdict": "usable" or "refused", "reason", "steps": {what was found, as far as it
came: "created", "propertyPages", "takesStereoFloat", "outputChannels", "framesBack", "pagePixels", "stateBytes",
"tailMs"}}

  dxconv check Echo
  dxconv check {A7ADE361-6BDB-4C04-BA8E-C85F225B50EA} --json)";

inline constexpr char kPanelHelp[] =
    R"(Closing the window prints the settings text and puts it into the file, which is made if there is none yet;
Ctrl+C closes it and keeps nothing. Pick an effect once, then use it:

  dxconv panel --settings-file hall.txt
  dxconv convert in.wav out.wav --settings-file hall.txt)";

inline constexpr char kDoctorHelp[] =
    R"(Each line starts with ok, warn or FAIL. The report names no users and no machines. Exit status 1 when a line
says FAIL.
--json: {"ok", "findings": [{"result": "ok", "warn" or "FAIL", "what", "finding", "advice"}]}

  dxconv doctor
  dxconv doctor >report.txt)";

inline constexpr char kVersionHelp[] = "\n  dxconv version";
