#include "config/CStructArray.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

CStructArray::~CStructArray() {
    Clear();
}

bool CStructArray::SetCapacity(int count) {
    const std::int64_t rounded = (std::int64_t{count} + m_growStep - 1) / m_growStep * m_growStep;
    if (rounded == m_capacity)
        return true;
    if (rounded == 0) {
        std::free(m_data);
        m_data = nullptr;
        m_capacity = 0;
        return true;
    }
    const std::uint64_t bytes = static_cast<std::uint64_t>(rounded) * m_recordSize;
    void* const data = bytes > INT32_MAX ? nullptr : std::realloc(m_data, static_cast<std::size_t>(bytes));
    if (data == nullptr)
        return false;
    m_data = static_cast<std::byte*>(data);
    m_capacity = static_cast<int>(rounded);
    return true;
}

bool CStructArray::Insert(int at, int n, ArrayElem* source) {
    if (at < 0 || at > m_count || n < 1 || n > INT32_MAX - m_count || !SetCapacity(m_count + n))
        return false;
    const std::size_t bytes = m_recordSize * static_cast<std::size_t>(n);
    std::memmove(Record(at + n), Record(at), m_recordSize * static_cast<std::size_t>(m_count - at));
    std::memcpy(Record(at), static_cast<const void*>(source), bytes);
    m_count += n;
    auto* const sources = reinterpret_cast<std::byte*>(source);
    for (std::size_t offset = 0; offset < bytes; offset += m_recordSize)
        reinterpret_cast<ArrayElem*>(sources + offset)->Detach();
    return true;
}

bool CStructArray::Remove(int at, int n) {
    if (at < 0 || n < 0 || at > m_count || n > m_count - at)
        return false;
    for (int i = at; i < at + n; ++i)
        GetAt(i)->Free();
    if (at + n < m_count)
        std::memmove(Record(at), Record(at + n), m_recordSize * static_cast<std::size_t>(m_count - at - n));
    m_count -= n;
    return SetCapacity(m_count);
}

ArrayElem* CStructArray::GetAt(int i) const {
    return i < 0 || i >= m_count ? nullptr : reinterpret_cast<ArrayElem*>(Record(i));
}
