#pragma once

#include "support/handles.h"

#include <cstddef>
#include <string>
#include <vector>

/// The absolute path for a name as the user typed it (UTF-8), with the prefix that lifts the length limit
/// when it needs one.
std::wstring FullPath(const std::string& name);

/// FullPath for UTF-16.
std::wstring FullPath(const std::wstring& name);

/// The path of this program's own file.
std::wstring OwnPath();

/// The folder in which it lies, ends in a backslash.
std::wstring OwnFolder();

/// CreateFileW; null instead of INVALID_HANDLE_VALUE.
CKernelHandle OpenHandle(const std::wstring& path, DWORD access, DWORD share, DWORD disposition, DWORD flags);

/// Makes the folder, and those above it, unless they are there. Throws CError with ExitCode::Output.
void MakeFolder(const std::string& name);

/// The folder for temporary files, ends in a backslash.
std::wstring TemporaryFolder();

/// A name in `folder` (ends in a backslash) that this process did not give before.
std::wstring TemporaryName(const std::wstring& folder);

/// Reads like ReadFile, until `bytes` are there or the file or pipe ends. Returns false on an error.
bool ReadFully(HANDLE file, void* buffer, std::size_t bytes, std::size_t& got);

/// Writes like WriteFile, all bytes. Returns false on an error.
bool WriteFully(HANDLE file, const void* bytes, std::size_t count);

/// The whole of a file of settings or state. Throws CError with ExitCode::Effect that names `option`.
std::vector<unsigned char> ReadSmallFile(const std::string& name, const char* option);
