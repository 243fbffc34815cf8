#include "dsp/CMemBuff.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

CMemBuff::CMemBuff(std::int32_t growStep) : m_growStep(std::max(growStep, 1)) {}

CMemBuff::~CMemBuff() {
    Clear();
}

bool CMemBuff::SetSize(std::int32_t newSize) {
    if (newSize < 0)
        return false;
    if (newSize == 0) {
        Clear();
        return true;
    }
    const std::int64_t steps = (std::int64_t{newSize} + m_growStep - 1) / m_growStep;
    const std::int64_t capacity = steps * m_growStep;
    if (capacity > std::numeric_limits<std::int32_t>::max())
        return false;
    if (capacity != m_capacity) {
        void* const data = std::realloc(m_data, static_cast<std::size_t>(capacity));
        if (data == nullptr)
            return false;
        m_data = static_cast<std::uint8_t*>(data);
        m_capacity = static_cast<std::int32_t>(capacity);
    }
    m_size = newSize;
    return true;
}

bool CMemBuff::Append(const void* bytes, std::int32_t count) {
    if (count < 1)
        return true;
    const std::int32_t oldSize = m_size;
    if (count > std::numeric_limits<std::int32_t>::max() - oldSize || !SetSize(oldSize + count))
        return false;
    std::copy_n(static_cast<const std::uint8_t*>(bytes), count, m_data + oldSize);
    return true;
}

void CMemBuff::Clear() {
    std::free(m_data);
    m_data = nullptr;
    m_size = 0;
    m_capacity = 0;
}

void CMemBuff::Attach(void* bytes, std::int32_t count) {
    Clear();
    m_data = static_cast<std::uint8_t*>(bytes);
    m_size = m_capacity = bytes == nullptr ? 0 : count;
}

bool CMemBuff::Seek(std::int32_t pos) {
    m_readPos = std::clamp(pos, 0, m_size);
    return m_readPos == pos;
}

bool CMemBuff::Read(void* out, std::int32_t count) {
    if (count < 0 || std::int64_t{m_readPos} + count > m_size)
        return false;
    if (count > 0)
        std::memcpy(out, m_data + m_readPos, static_cast<std::size_t>(count));
    m_readPos += count;
    return true;
}

bool CMemBuff::ReadString(char** out) {
    *out = nullptr;
    std::int32_t length = 0;
    if (!Read(&length, sizeof length))
        return false;
    if (length < 1)
        return true;
    if (length > BytesLeft() || m_data[m_readPos] == 0)
        return false;
    auto* const text = static_cast<char*>(std::malloc(static_cast<std::size_t>(length) + 1));
    if (text == nullptr)
        return false;
    Read(text, length);
    text[length] = '\0';
    *out = text;
    return true;
}
