#pragma once

#include <windows.h>
#include <cstdint>
#include <string>
#include <vector>

// The settings string that a host keeps for an effect: NAME "=X" HEX, where HEX holds the class id (16 bytes
// in memory order), the length of the state (4 bytes, little-endian) and the state.

/// The string for an effect. name: as it is shown to users; cut where the format cannot hold it.
std::wstring MakeSettings(
    const std::wstring& name, const GUID& clsid, const std::vector<unsigned char>& state);

/// Whether the module can read the string. It would pass the audio unchanged, without a word, if it could
/// not.
bool IsSettings(const std::wstring& settings);

/// The class id of the effect. settings: a string for which IsSettings holds; of any other the answer is all
/// zero.
GUID SettingsClsid(const std::wstring& settings);

/// The text of a file in UTF-8, or in UTF-16 with a byte-order mark, without line ends at its end.
/// Returns false when it is no text.
bool DecodeTextFile(const std::vector<unsigned char>& content, std::wstring& text);
