#include "dxconv/CInputFile.h"

#include "dxconv/CError.h"
#include "dxconv/files.h"
#include "dxconv/text.h"

#include <algorithm>

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
    m_expected = Left();
}

// From the present position, which need not be the first byte of a standard input.
std::uint64_t CInputFile::Left() const {
    LARGE_INTEGER position{};
    const std::uint64_t size = Size();
    if (size == 0 || !::SetFilePointerEx(m_file.Get(), {}, &position, FILE_CURRENT))
        return 0;
    return size - std::min(size, static_cast<std::uint64_t>(position.QuadPart));
}

std::size_t CInputFile::Read(void* buffer, std::size_t bytes) {
    std::size_t got = 0;
    if (!ReadFully(m_file.Get(), buffer, bytes, got))
        throw CError(
            ExitCode::Input, m_name, "cannot be read: " + SystemErrorText() + "; check the disk or copy it");
    m_expected -= std::min<std::uint64_t>(m_expected, got);
    if (got < bytes && m_expected != 0)
        throw CError(ExitCode::Input, m_name,
            "became shorter while it was read: " + std::to_string(m_expected) +
                " bytes are gone; run it again when nothing else writes it");
    return got;
}

std::uint64_t CInputFile::Size() const {
    LARGE_INTEGER size{};
    const bool known = ::GetFileType(m_file.Get()) == FILE_TYPE_DISK && ::GetFileSizeEx(m_file.Get(), &size);
    return known ? static_cast<std::uint64_t>(size.QuadPart) : 0;
}
