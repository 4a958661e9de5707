// The host's growing array, with its own growth rule.
#pragma once

#include <cstddef>
#include <new>
#include <utility>

// Physical length is what is allocated, logical length what is used. When an append finds
// the array full, the new physical length is the greater of what is needed and the present
// physical length plus the greater of the grow length and a step: the present physical
// length while that takes under 1 MB, else 131,072 elements. So a small array doubles.
template <class T> class AcArray {
public:
    explicit AcArray(int initPhysicalLength = 0, int initGrowLength = 8)
        : mGrowLen(initGrowLength > 0 ? initGrowLength : 8) {
        if (initPhysicalLength > 0)
            setPhysicalLength(initPhysicalLength);
    }
    AcArray(const AcArray& other) : mGrowLen(other.mGrowLen) { *this = other; }
    AcArray(AcArray&& other) noexcept { swap(other); }
    AcArray& operator=(const AcArray& other) {
        if (this == &other)
            return *this;
        setLogicalLength(0);
        if (mPhysicalLen < other.mLogicalLen)
            setPhysicalLength(other.mLogicalLen);
        for (int i = 0; i < other.mLogicalLen; ++i)
            mpArray[i] = other.mpArray[i];
        mLogicalLen = other.mLogicalLen;
        return *this;
    }
    AcArray& operator=(AcArray&& other) noexcept {
        swap(other);
        return *this;
    }
    ~AcArray() { delete[] mpArray; }

    int length() const { return mLogicalLen; }
    int logicalLength() const { return mLogicalLen; }
    int physicalLength() const { return mPhysicalLen; }
    int growLength() const { return mGrowLen; }
    bool isEmpty() const { return mLogicalLen == 0; }
    AcArray& setGrowLength(int length) {
        if (length > 0)
            mGrowLen = length;
        return *this;
    }

    // The logical length can shrink and grow within the storage; growing past it grows the
    // storage by the rule above. The storage is kept when the length goes to 0.
    AcArray& setLogicalLength(int length) {
        if (length < 0)
            length = 0;
        if (length > mPhysicalLen)
            grow(length);
        mLogicalLen = length;
        return *this;
    }
    AcArray& setPhysicalLength(int length) {
        if (length < 0)
            length = 0;
        if (length == mPhysicalLen)
            return *this;
        T* data = length ? new T[length] : nullptr;
        int keep = mLogicalLen < length ? mLogicalLen : length;
        for (int i = 0; i < keep; ++i)
            data[i] = std::move(mpArray[i]);
        delete[] mpArray;
        mpArray = data;
        mPhysicalLen = length;
        mLogicalLen = keep;
        return *this;
    }

    int append(const T& value) {
        if (mLogicalLen >= mPhysicalLen) {
            T copy = value; // the value may live in this array
            grow(mLogicalLen + 1);
            mpArray[mLogicalLen] = std::move(copy);
        } else {
            mpArray[mLogicalLen] = value;
        }
        return mLogicalLen++;
    }
    AcArray& append(const AcArray& other) {
        for (int i = 0; i < other.length(); ++i)
            append(other[i]);
        return *this;
    }
    AcArray& insertAt(int index, const T& value) {
        if (index < 0 || index > mLogicalLen)
            return *this;
        T copy = value;
        if (mLogicalLen >= mPhysicalLen)
            grow(mLogicalLen + 1);
        for (int i = mLogicalLen; i > index; --i)
            mpArray[i] = std::move(mpArray[i - 1]);
        mpArray[index] = std::move(copy);
        ++mLogicalLen;
        return *this;
    }
    AcArray& removeAt(int index) {
        if (index < 0 || index >= mLogicalLen)
            return *this;
        for (int i = index; i + 1 < mLogicalLen; ++i)
            mpArray[i] = std::move(mpArray[i + 1]);
        --mLogicalLen;
        return *this;
    }
    AcArray& removeLast() { return removeAt(mLogicalLen - 1); }
    AcArray& removeAll() { return setLogicalLength(0); }
    bool remove(const T& value, int start = 0) {
        int index = -1;
        if (!find(value, index, start))
            return false;
        removeAt(index);
        return true;
    }

    bool contains(const T& value, int start = 0) const {
        int index;
        return find(value, index, start);
    }
    bool find(const T& value, int& foundAt, int start = 0) const {
        for (int i = start < 0 ? 0 : start; i < mLogicalLen; ++i)
            if (mpArray[i] == value) {
                foundAt = i;
                return true;
            }
        return false;
    }
    int find(const T& value) const {
        int index = -1;
        return find(value, index) ? index : -1;
    }

    // Out-of-range indexes are the caller's error; they are not checked, as on the host.
    T& operator[](int index) { return mpArray[index]; }
    const T& operator[](int index) const { return mpArray[index]; }
    T& at(int index) { return mpArray[index]; }
    const T& at(int index) const { return mpArray[index]; }
    T& first() { return mpArray[0]; }
    T& last() { return mpArray[mLogicalLen - 1]; }
    const T* asArrayPtr() const { return mpArray; }
    T* asArrayPtr() { return mpArray; }

    T* begin() { return mpArray; }
    T* end() { return mpArray + mLogicalLen; }
    const T* begin() const { return mpArray; }
    const T* end() const { return mpArray + mLogicalLen; }

    void swap(AcArray& other) noexcept {
        std::swap(mpArray, other.mpArray);
        std::swap(mPhysicalLen, other.mPhysicalLen);
        std::swap(mLogicalLen, other.mLogicalLen);
        std::swap(mGrowLen, other.mGrowLen);
    }

private:
    static constexpr size_t kDoublingLimitBytes = 1048576;
    static constexpr int kLargeStep = 131072;

    void grow(int needed) {
        int step = static_cast<size_t>(mPhysicalLen) * sizeof(T) < kDoublingLimitBytes
                       ? mPhysicalLen
                       : kLargeStep;
        int byRule = mPhysicalLen + (mGrowLen > step ? mGrowLen : step);
        setPhysicalLengthKeeping(needed > byRule ? needed : byRule);
    }
    void setPhysicalLengthKeeping(int length) {
        int logical = mLogicalLen;
        setPhysicalLength(length);
        mLogicalLen = logical;
    }

    T* mpArray = nullptr;
    int mPhysicalLen = 0;
    int mLogicalLen = 0;
    int mGrowLen = 8;
};
