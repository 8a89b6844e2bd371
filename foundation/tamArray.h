// Growable arrays of plain values, pointers, counted references and strings.
//
// All of them sit on Storage<T> (tamBuffer.h): one contiguous block grown by
// a fixed rule. Indices out of range are ignored, never reported: a read
// gives a zero value, a write or removal does nothing. Arrays shrink only on
// removal, when twice the count falls below the allocation.
#pragma once

#include <cstring>
#include <utility>

#include "foundation/tamBuffer.h"
#include "foundation/tamRefObject.h"
#include "foundation/tamString.h"

namespace tam {

template <class T>
class ValArray : public Storage<T> {
public:
    explicit ValArray(int growBy = 8) : Storage<T>(growBy) {}

    int GetCount() const { return count; }
    bool IsEmpty() const { return count == 0; }
    T* GetData() { return this->data; }
    const T* GetData() const { return this->data; }

    bool Add(T value) {
        if (!this->IncreaseAllocatedStorage(count + 1))
            return false;
        this->data[count++] = value;
        return true;
    }

    // Appends n values; nothing for n below 1.
    bool AddArray(const T* values, int n) {
        if (n < 1 || !values || n > kMaxCount - count)
            return false;
        if (!this->IncreaseAllocatedStorage(count + n))
            return false;
        std::memmove(static_cast<void*>(this->data + count), values, sizeof(T) * static_cast<std::size_t>(n));
        count += n;
        return true;
    }

    // A negative index appends; a larger one is clamped to the count.
    bool Insert(int index, T value) {
        if (!this->IncreaseAllocatedStorage(count + 1))
            return false;
        if (index < 0 || index > count)
            index = count;
        std::memmove(static_cast<void*>(this->data + index + 1), this->data + index,
                     sizeof(T) * static_cast<std::size_t>(count - index));
        this->data[index] = value;
        ++count;
        return true;
    }

    // A negative index does nothing; one at or past the count appends (at
    // the count, not at the index).
    void Set(int index, T value) {
        if (index < 0)
            return;
        if (index >= count)
            Add(value);
        else
            this->data[index] = value;
    }

    T Get(int index) const { return (index >= 0 && index < count) ? this->data[index] : T(); }
    T operator[](int index) const { return Get(index); }
    T GetLast() const { return Get(count - 1); }

    // Takes an element out and returns it (a zero value when out of range).
    T Remove(int index) {
        if (index < 0 || index >= count)
            return T();
        const T removed = this->data[index];
        --count;
        std::memmove(static_cast<void*>(this->data + index), this->data + index + 1,
                     sizeof(T) * static_cast<std::size_t>(count - index));
        if (2 * count < this->allocated)
            this->DecreaseAllocatedStorage(count);
        return removed;
    }

    // Shifts one element to a new place; a `to` out of range means the last.
    void Move(int from, int to) {
        if (from < 0 || from >= count || from == to)
            return;
        if (to < 0 || to >= count)
            to = count - 1;
        if (from == to)
            return;
        const T moved = this->data[from];
        if (from < to)
            std::memmove(static_cast<void*>(this->data + from), this->data + from + 1,
                         sizeof(T) * static_cast<std::size_t>(to - from));
        else
            std::memmove(static_cast<void*>(this->data + to + 1), this->data + to,
                         sizeof(T) * static_cast<std::size_t>(from - to));
        this->data[to] = moved;
    }

    void Swap(int a, int b) {
        if (a < 0 || b < 0 || a >= count || b >= count)
            return;
        std::swap(this->data[a], this->data[b]);
    }

    int IndexOf(T value) const {
        for (int i = 0; i < count; ++i)
            if (this->data[i] == value)
                return i;
        return -1;
    }
    bool Contains(T value) const { return IndexOf(value) >= 0; }

    // Frees the block; count 0.
    void Clear() {
        this->AllocateStorage(0);
        count = 0;
    }

protected:
    static constexpr int kMaxCount = 0x7fffffff;
    int count = 0;
};

// Pointers that the array may own. Whatever it was told before, it deletes
// its elements when it is destroyed.
template <class T>
class PtrArray : public ValArray<T*> {
public:
    explicit PtrArray(int growBy = 8) : ValArray<T*>(growBy) {}
    ~PtrArray() override { Clear(true); }
    PtrArray(const PtrArray&) = delete;
    PtrArray& operator=(const PtrArray&) = delete;

    bool Add(T* object) { return ValArray<T*>::Add(object); }
    bool Insert(int index, T* object) { return ValArray<T*>::Insert(index, object); }
    T* Get(int index) const { return ValArray<T*>::Get(index); }
    T* operator[](int index) const { return ValArray<T*>::Get(index); }
    bool Contains(const T* object) const { return IndexOf(object) >= 0; }
    int IndexOf(const T* object) const { return ValArray<T*>::IndexOf(const_cast<T*>(object)); }

    // Empties the array, deleting the elements last to first when owned.
    void Clear(bool owned) {
        if (owned)
            for (int i = this->count - 1; i >= 0; --i)
                delete this->data[i];
        ValArray<T*>::Clear();
    }

    // Takes one element out; when owned it is deleted (after the shrink) and
    // null comes back.
    T* Remove(int index, bool owned) {
        T* removed = ValArray<T*>::Remove(index);
        if (owned) {
            delete removed;
            return nullptr;
        }
        return removed;
    }

    void RemoveLast(int n, bool owned) {
        if (n <= 0)
            return;
        if (n >= this->count) {
            Clear(owned);
            return;
        }
        for (int i = 0; i < n; ++i)
            Remove(this->count - 1, owned);
    }
};

// Counted references: the array holds one reference to each entry, taken
// on adding and released on removal.
template <class T>
class RefObjArray : public ValArray<T*> {
public:
    explicit RefObjArray(int growBy = 8) : ValArray<T*>(growBy) {}
    ~RefObjArray() override { Clear(); }
    RefObjArray(const RefObjArray&) = delete;
    RefObjArray& operator=(const RefObjArray&) = delete;

    bool Add(T* object) {
        if (!ValArray<T*>::Add(object))
            return false;
        if (object)
            object->AddRef();
        return true;
    }
    T* Get(int index) const { return ValArray<T*>::Get(index); }
    T* operator[](int index) const { return ValArray<T*>::Get(index); }

    void Remove(int index) {
        T* removed = ValArray<T*>::Remove(index);
        if (removed)
            removed->Release();
    }
    void RemoveObject(T* object) {
        const int index = ValArray<T*>::IndexOf(object);
        if (index >= 0)
            Remove(index);
    }
    void Clear() {
        for (int i = this->count - 1; i >= 0; --i)
            if (this->data[i])
                this->data[i]->Release();
        ValArray<T*>::Clear();
    }
};

// Sorting over a closed index range. The comparator gives a negative, zero
// or positive result for two elements. The default is an iterative
// quicksort (not stable; ranges under 9 by selection); `simple` asks for a
// stable exchange sort.
class Sorter {
public:
    template <class T, class Comparator>
    static void Sort(Comparator comparator, T* array, int low, int high, bool simple = false) {
        if (!array || high <= low)
            return;
        if (simple) {
            ExchangeSort(comparator, array, low, high);
            return;
        }
        // Working on the smaller part and stacking the larger keeps the stack
        // within log2 of the count: 32 pairs cover any int32 range.
        int stackLow[32];
        int stackHigh[32];
        int top = 0;
        for (;;) {
            const int size = high - low + 1;
            if (size < 9) {
                SelectionSort(comparator, array, low, high);
                if (top == 0)
                    return;
                --top;
                low = stackLow[top];
                high = stackHigh[top];
                continue;
            }
            std::swap(array[low + size / 2], array[low]);
            int i = low;
            int j = high + 1;
            for (;;) {
                while (i < high) {
                    ++i;
                    if (comparator(array[i], array[low]) > 0)
                        break;
                }
                while (j > low) {
                    --j;
                    if (comparator(array[j], array[low]) < 0)
                        break;
                }
                if (j <= i)
                    break;
                std::swap(array[i], array[j]);
            }
            std::swap(array[low], array[j]);
            const int leftLow = low, leftHigh = j - 1;
            const int rightLow = i, rightHigh = high;
            const int leftSize = leftHigh - leftLow + 1;
            const int rightSize = rightHigh - rightLow + 1;
            if (leftSize < rightSize) {
                if (rightSize >= 2) {
                    stackLow[top] = rightLow;
                    stackHigh[top++] = rightHigh;
                }
                if (leftSize >= 2) {
                    low = leftLow;
                    high = leftHigh;
                    continue;
                }
            } else {
                if (leftSize >= 2) {
                    stackLow[top] = leftLow;
                    stackHigh[top++] = leftHigh;
                }
                if (rightSize >= 2) {
                    low = rightLow;
                    high = rightHigh;
                    continue;
                }
            }
            if (top == 0)
                return;
            --top;
            low = stackLow[top];
            high = stackHigh[top];
        }
    }

private:
    // Moves the greatest to the end, repeatedly; the first of equal greatest
    // elements is the one that moves.
    template <class T, class Comparator>
    static void SelectionSort(Comparator& comparator, T* array, int low, int high) {
        for (int end = high; end > low; --end) {
            int best = low;
            for (int k = low + 1; k <= end; ++k)
                if (comparator(array[k], array[best]) > 0)
                    best = k;
            std::swap(array[best], array[end]);
        }
    }

    template <class T, class Comparator>
    static void ExchangeSort(Comparator& comparator, T* array, int low, int high) {
        int i = low;
        while (i < high) {
            if (comparator(array[i], array[i + 1]) > 0) {
                std::swap(array[i], array[i + 1]);
                if (i > low)
                    --i;
            } else {
                ++i;
            }
        }
    }
};

// Comparators for arrays of pointers to tam::String.
struct TamStrArrayComparator {
    int operator()(const void* a, const void* b) const {
        return static_cast<const String*>(a)->Compare(*static_cast<const String*>(b));
    }
};
struct TamStrArrayInsensitiveComparator {
    int operator()(const void* a, const void* b) const {
        return static_cast<const String*>(a)->CompareIgnoreCase(*static_cast<const String*>(b));
    }
};

// An array of strings that it owns; copies are deep.
class StrArray : public ValArray<void*> {
public:
    StrArray() : ValArray<void*>(8) {}
    StrArray(const char** list, int n);
    explicit StrArray(const char** list);  // ends with a null pointer
    StrArray(const StrArray& other);
    StrArray& operator=(const StrArray& other);
    ~StrArray() override;

    void Add(const String& text);
    // Copies of n strings from `first`; a negative first counts as 0, a
    // negative n means all the rest, and a range past the end is cut.
    void AddArray(const StrArray& other, int first = 0, int n = -1);
    void Insert(int index, const String& text);
    // A negative index does nothing; past the end, or at a null slot, appends.
    void Set(int index, const String& text);
    String Get(int index) const;
    String operator[](int index) const { return Get(index); }
    int IndexOf(const String& text, bool ignoreCase = false, int first = 0) const;
    // Searches from the end.
    bool Contains(const String& text, bool ignoreCase = false) const;
    void Remove(int index);
    void RemoveString(const String& text, bool ignoreCase = false);
    void RemoveDuplicates(bool ignoreCase = false);
    void RemoveEmptyStrings(bool trimmed = false);
    String Merge(const String& separator, int first = 0, int n = -1) const;
    // Splits at separators outside quotes and appends the pieces (empty ones
    // too); returns how many. Quote characters stay in the pieces.
    int Unmerge(const String& text, const char* separators, const char* quotes = nullptr);
    void Sort(bool ignoreCase = false);
    using ValArray<void*>::Move;
    using ValArray<void*>::Swap;
    void Clear();
    bool operator==(const StrArray& other) const;
    bool operator!=(const StrArray& other) const { return !(*this == other); }

private:
    const String* At(int index) const { return static_cast<const String*>(data[index]); }
    bool Matches(int index, const String& text, bool ignoreCase) const;
};

// A small map of strings to strings with a linear search; keys and values
// are kept in two parallel arrays.
class StrPairArray {
public:
    explicit StrPairArray(bool ignoreCase = false) : ignoreCase(ignoreCase) {}

    String Get(const String& key, const String& fallback) const;
    String operator[](const String& key) const;
    String GetKey(int index) const { return keys.Get(index); }
    String GetValue(int index) const { return values.Get(index); }
    // Replaces the value of a key, or appends the pair.
    void Set(const String& key, const String& value);
    // Replaces only; an absent key is ignored.
    void SetValue(const String& key, const String& value);
    // Appends without looking.
    void Add(const String& key, const String& value);
    // Moves a pair before another (case-sensitive search); an absent
    // beforeKey moves it to the end.
    void Move(const String& key, const String& beforeKey);
    void AddArray(const StrPairArray& other);
    int IndexOf(const String& key) const { return keys.IndexOf(key, ignoreCase); }
    bool Contains(const String& key) const { return IndexOf(key) >= 0; }
    void Remove(const String& key) { Remove(IndexOf(key)); }
    void Remove(int index);
    void Clear();
    int GetCount() const { return keys.GetCount(); }
    bool IsEmpty() const { return keys.IsEmpty(); }
    bool IsIgnoreCase() const { return ignoreCase; }
    // Order-free, and one-sided: every left key must find an equal value on
    // the right; extra pairs on the right are not looked at.
    bool operator==(const StrPairArray& other) const;
    bool operator!=(const StrPairArray& other) const { return !(*this == other); }

private:
    bool ignoreCase;
    StrArray keys;
    StrArray values;
};

}  // namespace tam
