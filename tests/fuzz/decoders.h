#pragma once

#include <cstddef>
#include <string>

// The readers of text and bytes from outside, each run over one input and compared with a plain reading of
// the format that shares no code with it. Builds with the system's windows.h and with the stand-in in
// native/.

/// Copies bytes to memory whose end is watched; the copy is valid until the next call.
using PlaceFn = void* (*)(const void* bytes, std::size_t count);

/// True when decoder and plain reading agree on all that `input` gives.
using AgreesFn = bool (*)(const std::string& input, PlaceFn place);

/// Settings text. A byte below 0x80 is a unit; another one is the high byte of a unit, less 0x80, and the
/// next byte its low byte.
bool SettingsAgree(const std::string& input, PlaceFn place);
/// The stored list of effects.
bool PlugInsAgree(const std::string& input, PlaceFn place);
/// A WAV stream, in blocks of few frames.
bool WavAgrees(const std::string& input, PlaceFn place);
