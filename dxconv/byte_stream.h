#pragma once

#include <cstddef>

/// Bytes that come in order. Errors are thrown as CError.
class IByteSource {
public:
    /// Fills `buffer`; returns fewer than `bytes` only at the end of the stream.
    virtual std::size_t Read(void* buffer, std::size_t bytes) = 0;

protected:
    ~IByteSource() = default;
};

/// Takes bytes in order. Errors are thrown as CError.
class IByteSink {
public:
    virtual void Write(const void* bytes, std::size_t count) = 0;

protected:
    ~IByteSink() = default;
};
