#pragma once

#include <cstddef>

/// Base of every record kept in a CStructArray.
class ArrayElem {
public:
    ArrayElem() = default;
    ArrayElem(const ArrayElem&) = delete;
    ArrayElem& operator=(const ArrayElem&) = delete;

    /// Releases what the record owns: the array removes it.
    virtual void Free() = 0;
    /// Forgets, without releasing, what the record owns: the array's copy has it now.
    virtual void Detach() = 0;

protected:
    ~ArrayElem() = default; // records are never deleted through this base
};

/// Records of one kind, kept by value in one block from malloc and moved byte for byte: a record must not
/// hold pointers into itself. Nothing throws. Threads: one at a time.
class CStructArray {
public:
    /// recordSize: bytes. The capacity is always a multiple of growStep records.
    CStructArray(std::size_t recordSize, int growStep) : m_recordSize(recordSize), m_growStep(growStep) {}
    virtual ~CStructArray();
    CStructArray(const CStructArray&) = delete;
    CStructArray& operator=(const CStructArray&) = delete;

    virtual bool HasElements() const { return m_count != 0; }

    /// Copies n records in before position `at` (0 .. count) and detaches the sources. False, and nothing
    /// changed, when memory is short or the position is none.
    bool Insert(int at, int n, ArrayElem* source);
    bool Append(ArrayElem& source) { return Insert(m_count, 1, &source); }
    /// Frees n records from `at` on. False for a range that is not there, or when the block can't be made
    /// smaller (the records are removed all the same).
    bool Remove(int at, int n);
    void Clear() { Remove(0, m_count); }

    /// Null when there is no such record. Valid until the array changes.
    ArrayElem* GetAt(int i) const;
    int GetCount() const { return m_count; }
    int GetCapacity() const { return m_capacity; }

private:
    bool SetCapacity(int count);
    std::byte* Record(int i) const { return m_data + m_recordSize * static_cast<std::size_t>(i); }

    const std::size_t m_recordSize;
    const int m_growStep;
    int m_capacity = 0;
    int m_count = 0;
    std::byte* m_data = nullptr;
};
