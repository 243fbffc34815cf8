#pragma once

#include <string>

/// What a file is to a 32-bit process that wants to load it as a DLL.
enum class CodeFile {
    Dll32,
    Dll64,    ///< for 64-bit processes, x64 or ARM64
    DllOther, ///< for another processor
    Program,  ///< an EXE of whatever processor
    NoCode,   ///< no executable image, or not all of its header
    Missing,
    Unreadable
};

/// Looks at the file's header. path: absolute.
CodeFile InspectCodeFile(const std::wstring& path);

/// What is wrong with it, as a name for it ("a 64-bit DLL"); empty for CodeFile::Dll32.
std::string CodeFileText(CodeFile kind);
