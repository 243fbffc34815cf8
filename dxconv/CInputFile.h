#pragma once

#include "dxconv/byte_stream.h"
#include "support/handles.h"

#include <cstdint>
#include <string>

/// IN: a file, or the standard input for "-". A file that becomes shorter while it is read is an error, and
/// so is one that vanishes. Errors: CError with ExitCode::Input.
class CInputFile : public IByteSource {
public:
    explicit CInputFile(const std::string& name);

    std::size_t Read(void* buffer, std::size_t bytes) override;

    /// The length in bytes; 0 when it is not known (a pipe).
    std::uint64_t Size() const;

    /// Lets the file go, so that it can be replaced.
    void Close() { m_file.Reset(); }

private:
    std::uint64_t Left() const;

    std::string m_name;
    std::uint64_t m_expected = 0; // bytes that were there at first and are still to be read
    CKernelHandle m_file;
};
