#pragma once

class CStructArray;

/// Replaces `candidates` (of PlugInElem) by the installed filters that take and give PCM audio and so may
/// serve as effects, in the order of the filter mapper, at most 1024. Left out are software synthesizers and
/// wrappers of another plug-in format ("VST "). Creates no filter, shows no window. What cannot be read is
/// skipped; without a filter mapper, or short of memory, the list ends early. Thread: any on which COM is
/// initialised.
void EnumCandidates(CStructArray& candidates);
