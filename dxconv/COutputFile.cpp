#include "dxconv/COutputFile.h"

#include "dxconv/CError.h"
#include "dxconv/files.h"
#include "dxconv/standard_output.h"
#include "dxconv/text.h"
#include "dxconv/worker.h"

#include <algorithm>
#include <vector>

std::wstring COutputFile::TemporaryFor(const std::string& name) {
    std::wstring folder = TemporaryFolder();
    if (name != "-") {
        const std::wstring target = FullPath(name);
        folder = target.substr(0, target.find_last_of(L'\\') + 1);
    }
    std::wstring path;
    do
        path = TemporaryName(folder);
    while (::GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES);
    return path;
}

COutputFile::COutputFile(const std::string& name, const std::wstring& temporary, Existing existing)
    : m_name(name), m_existing(existing) {
    if (name != "-") {
        m_target = FullPath(name);
        CheckTarget();
    }
    m_temporary = temporary.empty() ? TemporaryFor(name) : temporary;
    m_file = OpenHandle(m_temporary, GENERIC_READ | GENERIC_WRITE | DELETE,
        FILE_SHARE_READ | FILE_SHARE_DELETE, CREATE_NEW, FILE_ATTRIBUTE_NORMAL);
    if (!m_file)
        Fail("no file can be made in its folder");
    GoesWhenClosed(true);
}

COutputFile::~COutputFile() {
    if (m_temporary.empty())
        return;
    m_file.Reset();
    ::DeleteFileW(m_temporary.c_str());
}

// What the system does for us in every case, a killed process included; not all file systems can.
bool COutputFile::GoesWhenClosed(bool goes) const {
    FILE_DISPOSITION_INFO disposition{};
    disposition.DeleteFile = goes;
    return ::SetFileInformationByHandle(
               m_file.Get(), FileDispositionInfo, &disposition, sizeof disposition) != FALSE;
}

void COutputFile::Fail(const std::string& what, DWORD error) const {
    throw CError(ExitCode::Output, m_name,
        what + ": " + SystemErrorText(error) + "; choose another place or make room for it");
}

// Said now rather than after an hour's conversion.
void COutputFile::CheckTarget() const {
    if (m_target.empty())
        throw CError(ExitCode::Output, "OUT", "is empty; give a file name or '-'");
    const DWORD attributes = ::GetFileAttributesW(m_target.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return;
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        throw CError(ExitCode::Output, m_name, "is a folder; add a file name");
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0)
        throw CError(ExitCode::Output, m_name, "is read-only; choose another file or make it writable");
    if (m_existing == Existing::Refuse)
        FailExists();
}

void COutputFile::FailExists() const {
    throw CError(ExitCode::Output, m_name, "exists already; choose another name, or replace it with --force");
}

void COutputFile::Seek(std::uint64_t offset) {
    LARGE_INTEGER position;
    position.QuadPart = static_cast<LONGLONG>(offset);
    if (offset != m_position && !::SetFilePointerEx(m_file.Get(), position, nullptr, FILE_BEGIN))
        Fail("cannot be written");
    m_position = offset;
}

void COutputFile::Write(const void* bytes, std::size_t count) {
    WriteAt(m_size, bytes, count);
}

void COutputFile::WriteAt(std::uint64_t offset, const void* bytes, std::size_t count) {
    Seek(offset);
    if (!WriteFully(m_file.Get(), bytes, count))
        Fail("cannot be written");
    m_position += count;
    m_size = std::max(m_size, m_position);
}

void COutputFile::ReadAt(std::uint64_t offset, void* buffer, std::size_t bytes) {
    Seek(offset);
    std::size_t got = 0;
    if (!ReadFully(m_file.Get(), buffer, bytes, got) || got < bytes)
        Fail("its temporary file cannot be read back");
    m_position += bytes;
}

void COutputFile::CopyToStandardOutput() {
    std::vector<char> piece(64 * 1024);
    for (std::uint64_t offset = 0; offset < m_size;) {
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(m_size - offset, piece.size()));
        ReadAt(offset, piece.data(), count);
        if (!WriteFully(StandardHandle(STD_OUTPUT_HANDLE), piece.data(), count))
            Fail("cannot be written");
        offset += count;
    }
}

// A virus scanner or an indexer looks at a new file just then, or at the old one: for a moment.
bool COutputFile::MoveToTarget(DWORD flags) const {
    constexpr int kTries = 20;
    constexpr DWORD kBetweenMs = 100;
    for (int n = 1; !::MoveFileExW(m_temporary.c_str(), m_target.c_str(), flags); ++n) {
        const DWORD error = ::GetLastError();
        if (n == kTries || (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED))
            return false;
        ::Sleep(kBetweenMs);
    }
    return true;
}

void COutputFile::Commit() {
    if (m_target.empty()) {
        MarkOutput(OutputState::Committing, true);
        CopyToStandardOutput();
        MarkOutput(OutputState::Committed);
        return;
    }
    if (!::FlushFileBuffers(m_file.Get()))
        Fail("cannot be written");
    GoesWhenClosed(false);
    m_file.Reset();
    MarkOutput(OutputState::Committing);
    const DWORD replace = m_existing == Existing::Replace ? MOVEFILE_REPLACE_EXISTING : 0;
    if (!MoveToTarget(replace | MOVEFILE_WRITE_THROUGH)) {
        const DWORD error = ::GetLastError();
        MarkOutput(OutputState::Unfinished);
        if (replace == 0 && (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS))
            FailExists();
        Fail("cannot be replaced", error);
    }
    MarkOutput(OutputState::Committed);
    m_temporary.clear();
}
