#pragma once

#include <windows.h>
#include <string>
#include <vector>

/// A filter that is installed on this machine and may serve as an effect; whether it does is not yet tried.
struct Candidate {
    GUID clsid{};
    std::string name; // ANSI code page
};

/// The installed filters that take and give PCM audio, in the order of the filter mapper, at most 1024. Left
/// out are software synthesizers and wrappers of another plug-in format ("VST "). Creates no filter, shows no
/// window. What cannot be read is skipped; without a filter mapper, or short of memory, the list ends early.
/// Thread: any on which COM is initialised.
std::vector<Candidate> EnumCandidates();
