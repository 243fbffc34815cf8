#pragma once

#include <cstdint>

/// A growable byte buffer with a read position. The bytes come from malloc. Threads: one at a time.
/// Nothing throws: what can't be done gives false and leaves the content as it was.
class CMemBuff {
public:
    /// growStep: the capacity is always a multiple of this many bytes (at least 1).
    explicit CMemBuff(std::int32_t growStep);
    virtual ~CMemBuff();
    CMemBuff(const CMemBuff&) = delete;
    CMemBuff& operator=(const CMemBuff&) = delete;

    /// Copies `count` bytes to the end. A count below 1 succeeds and does nothing.
    bool Append(const void* bytes, std::int32_t count);
    /// Makes room for exactly `newSize` bytes (rounded up); new bytes are not initialised. 0 frees the data.
    bool SetSize(std::int32_t newSize);
    /// Frees the data. The read position stays.
    void Clear();
    /// Takes over `count` bytes from malloc in place of its own.
    void Attach(void* bytes, std::int32_t count);

    /// Moves the read position; outside 0 .. size it goes to the nearer end and the answer is false.
    bool Seek(std::int32_t pos);
    bool Read(void* out, std::int32_t count);
    /// Reads a 32-bit length and that many bytes as text. *out: a malloc copy with a terminator, which the
    /// caller frees, or null for a length below 1. False when bytes are missing or the text begins with NUL.
    bool ReadString(char** out);

    /// Appends the upper-case hexadecimal text of the bytes in UTF-16, without a terminator.
    bool WriteHex(const void* bytes, std::int32_t count);
    /// Replaces the content by the decoded settings text: name length in bytes (u32), name in the ANSI code
    /// page, payload bytes. After a failure the content is what was decoded so far.
    bool FromSettingsString(const wchar_t* text);

    std::int32_t Size() const { return m_size; }
    std::int32_t Capacity() const { return m_capacity; }
    std::int32_t ReadPos() const { return m_readPos; }
    std::int32_t BytesLeft() const { return m_readPos < m_size ? m_size - m_readPos : 0; }
    std::uint8_t* Data() { return m_data; }
    const std::uint8_t* Data() const { return m_data; }

private:
    std::int32_t m_size = 0;
    const std::int32_t m_growStep;
    std::int32_t m_capacity = 0;
    std::int32_t m_readPos = 0;
    std::uint8_t* m_data = nullptr;
};
