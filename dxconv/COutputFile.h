#pragma once

#include "dxconv/byte_stream.h"
#include "support/handles.h"

#include <cstdint>
#include <string>

/// OUT: a file, or the standard output for "-". All is written to a temporary file (beside OUT, or in the
/// temporary folder) that takes OUT's place at Commit: until then nothing touches OUT, and whatever else
/// happens, the end of the process included, the temporary file goes. Errors: CError with ExitCode::Output.
class COutputFile : public IByteSink {
public:
    enum class Existing { Replace, Refuse };

    /// temporary: the path to write to until Commit; empty for one of its own choice (TemporaryFor).
    /// existing: what becomes of an OUT that is there, now or at Commit.
    explicit COutputFile(
        const std::string& name, const std::wstring& temporary = {}, Existing existing = Existing::Replace);
    ~COutputFile();
    COutputFile(const COutputFile&) = delete;
    COutputFile& operator=(const COutputFile&) = delete;

    /// Appends.
    void Write(const void* bytes, std::size_t count) override;
    /// Overwrites, and appends when it runs past the end.
    void WriteAt(std::uint64_t offset, const void* bytes, std::size_t count);
    void ReadAt(std::uint64_t offset, void* buffer, std::size_t bytes);
    std::uint64_t Size() const { return m_size; }

    /// A path for the temporary file of an OUT of this name. It was free a moment ago.
    static std::wstring TemporaryFor(const std::string& name);

    /// Puts the file in its place. Afterwards the object is empty.
    void Commit();

private:
    [[noreturn]] void Fail(const std::string& what, DWORD error = ::GetLastError()) const;
    [[noreturn]] void FailExists() const;
    void CheckTarget() const;
    bool GoesWhenClosed(bool goes) const;
    void Seek(std::uint64_t offset);
    void CopyToStandardOutput();
    bool MoveToTarget(DWORD flags) const;

    std::string m_name;
    Existing m_existing;
    std::wstring m_target; // empty: standard output
    std::wstring m_temporary;
    CKernelHandle m_file;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
};
