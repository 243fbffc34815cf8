#include "dxconv/CInputFile.h"

#include "dxconv/CError.h"
#include "dxconv/files.h"
#include "dxconv/text.h"

CInputFile::CInputFile(const std::string& name) : m_name(name) {
    if (name == "-")
        ::DuplicateHandle(::GetCurrentProcess(), ::GetStdHandle(STD_INPUT_HANDLE), ::GetCurrentProcess(),
            m_file.Put(), 0, FALSE, DUPLICATE_SAME_ACCESS);
    else
        m_file = OpenHandle(
            FullPath(name), GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN);
    if (!m_file)
        throw CError(
            ExitCode::Input, name, "cannot be opened: " + SystemErrorText() + "; check the name of IN");
}

std::size_t CInputFile::Read(void* buffer, std::size_t bytes) {
    std::size_t got = 0;
    if (!ReadFully(m_file.Get(), buffer, bytes, got))
        throw CError(
            ExitCode::Input, m_name, "cannot be read: " + SystemErrorText() + "; check the disk or copy it");
    return got;
}

std::uint64_t CInputFile::Size() const {
    LARGE_INTEGER size{};
    const bool known = ::GetFileType(m_file.Get()) == FILE_TYPE_DISK && ::GetFileSizeEx(m_file.Get(), &size);
    return known ? static_cast<std::uint64_t>(size.QuadPart) : 0;
}
