// CArray: the host framework's growing array, with its growth rule.
#pragma once

#include <new>
#include <stdexcept>
#include <utility>

#include "afxobj.h"
#include "windows.h"

// Thrown where the framework raises for an index out of range.
class CInvalidArgException : public std::out_of_range {
public:
    CInvalidArgException() : std::out_of_range("invalid argument") {}
};

template <class TYPE, class ARG_TYPE = const TYPE&> class CArray : public CObject {
public:
    CArray() = default;
    CArray(const CArray& other) : CObject() { Copy(other); }
    CArray& operator=(const CArray& other) {
        if (this != &other)
            Copy(other);
        return *this;
    }
    // Moving hands the elements over, as the framework's arrays relocate their elements bit
    // by bit when they grow: an array of arrays then grows without copying every text.
    CArray(CArray&& other) noexcept : CObject() { TakeFrom(other); }
    CArray& operator=(CArray&& other) noexcept {
        if (this != &other) {
            FreeData();
            TakeFrom(other);
        }
        return *this;
    }
    ~CArray() override { FreeData(); }

    INT_PTR GetSize() const { return m_nSize; }
    INT_PTR GetCount() const { return m_nSize; }
    bool IsEmpty() const { return m_nSize == 0; }
    INT_PTR GetUpperBound() const { return m_nSize - 1; }
    // The allocated capacity, which the growth rule decides.
    INT_PTR GetAllocatedSize() const { return m_nMaxSize; }

    // Without a growth step the array grows by an eighth of its size, at least 4 and at
    // most 1024 elements, and never by less than needed.
    void SetSize(INT_PTR newSize, INT_PTR growBy = -1) {
        if (newSize < 0)
            throw CInvalidArgException();
        if (growBy >= 0)
            m_nGrowBy = growBy;
        if (newSize == 0) {
            FreeData();
            return;
        }
        if (!m_pData) {
            INT_PTR alloc = newSize > m_nGrowBy ? newSize : m_nGrowBy;
            m_pData = static_cast<TYPE*>(::operator new(sizeof(TYPE) * alloc));
            for (INT_PTR i = 0; i < newSize; ++i)
                new (&m_pData[i]) TYPE();
            m_nSize = newSize;
            m_nMaxSize = alloc;
        } else if (newSize <= m_nMaxSize) {
            for (INT_PTR i = m_nSize; i < newSize; ++i)
                new (&m_pData[i]) TYPE();
            for (INT_PTR i = newSize; i < m_nSize; ++i)
                m_pData[i].~TYPE();
            m_nSize = newSize;
        } else {
            INT_PTR grow = m_nGrowBy;
            if (grow == 0) {
                grow = m_nSize / 8;
                grow = grow < 4 ? 4 : (grow > 1024 ? 1024 : grow);
            }
            INT_PTR newMax = newSize < m_nMaxSize + grow ? m_nMaxSize + grow : newSize;
            TYPE* data = static_cast<TYPE*>(::operator new(sizeof(TYPE) * newMax));
            for (INT_PTR i = 0; i < m_nSize; ++i) {
                new (&data[i]) TYPE(std::move(m_pData[i]));
                m_pData[i].~TYPE();
            }
            for (INT_PTR i = m_nSize; i < newSize; ++i)
                new (&data[i]) TYPE();
            ::operator delete(m_pData);
            m_pData = data;
            m_nSize = newSize;
            m_nMaxSize = newMax;
        }
    }

    void RemoveAll() { SetSize(0); }
    void FreeExtra() {}

    const TYPE& GetAt(INT_PTR i) const { return m_pData[Checked(i)]; }
    TYPE& GetAt(INT_PTR i) { return m_pData[Checked(i)]; }
    void SetAt(INT_PTR i, ARG_TYPE e) { m_pData[Checked(i)] = e; }
    TYPE& ElementAt(INT_PTR i) { return m_pData[Checked(i)]; }
    const TYPE& operator[](INT_PTR i) const { return GetAt(i); }
    TYPE& operator[](INT_PTR i) { return ElementAt(i); }
    const TYPE* GetData() const { return m_pData; }
    TYPE* GetData() { return m_pData; }

    void SetAtGrow(INT_PTR i, ARG_TYPE e) {
        if (i < 0)
            throw CInvalidArgException();
        if (i >= m_nSize) {
            TYPE copy(e); // e may live in this array
            SetSize(i + 1, -1);
            m_pData[i] = std::move(copy);
        } else {
            m_pData[i] = e;
        }
    }
    INT_PTR Add(ARG_TYPE e) {
        INT_PTR index = m_nSize;
        SetAtGrow(index, e);
        return index;
    }
    INT_PTR Append(const CArray& src) {
        INT_PTR old = m_nSize;
        CArray copy(src);
        SetSize(m_nSize + copy.m_nSize);
        for (INT_PTR i = 0; i < copy.m_nSize; ++i)
            m_pData[old + i] = copy.m_pData[i];
        return old;
    }
    void Copy(const CArray& src) {
        if (this == &src)
            return;
        SetSize(src.m_nSize);
        for (INT_PTR i = 0; i < src.m_nSize; ++i)
            m_pData[i] = src.m_pData[i];
    }
    void InsertAt(INT_PTR index, ARG_TYPE e, INT_PTR count = 1) {
        if (index < 0 || count <= 0)
            throw CInvalidArgException();
        TYPE copy(e);
        if (index >= m_nSize) {
            SetSize(index + count, -1);
        } else {
            INT_PTR old = m_nSize;
            SetSize(m_nSize + count, -1);
            for (INT_PTR i = old - 1; i >= index; --i)
                m_pData[i + count] = std::move(m_pData[i]);
        }
        for (INT_PTR i = 0; i < count; ++i)
            m_pData[index + i] = copy;
    }
    void RemoveAt(INT_PTR index, INT_PTR count = 1) {
        if (index < 0 || count < 0 || index + count > m_nSize)
            throw CInvalidArgException();
        for (INT_PTR i = index; i + count < m_nSize; ++i)
            m_pData[i] = std::move(m_pData[i + count]);
        for (INT_PTR i = m_nSize - count; i < m_nSize; ++i)
            m_pData[i].~TYPE();
        m_nSize -= count;
    }

private:
    INT_PTR Checked(INT_PTR i) const {
        if (i < 0 || i >= m_nSize)
            throw CInvalidArgException();
        return i;
    }
    void TakeFrom(CArray& other) noexcept {
        m_pData = other.m_pData;
        m_nSize = other.m_nSize;
        m_nMaxSize = other.m_nMaxSize;
        m_nGrowBy = other.m_nGrowBy;
        other.m_pData = nullptr;
        other.m_nSize = other.m_nMaxSize = 0;
    }
    void FreeData() {
        for (INT_PTR i = 0; i < m_nSize; ++i)
            m_pData[i].~TYPE();
        ::operator delete(m_pData);
        m_pData = nullptr;
        m_nSize = m_nMaxSize = 0;
    }

    TYPE* m_pData = nullptr;
    INT_PTR m_nSize = 0;
    INT_PTR m_nMaxSize = 0;
    INT_PTR m_nGrowBy = 0;
};
