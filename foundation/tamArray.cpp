// StrArray and StrPairArray.
#include "foundation/tamArray.h"

namespace tam {

StrArray::StrArray(const char** list, int n) : StrArray() {
    if (!list)
        return;
    for (int i = 0; i < n; ++i)
        Add(String(list[i]));
}

StrArray::StrArray(const char** list) : StrArray() {
    if (!list)
        return;
    for (const char** p = list; *p; ++p)
        Add(String(*p));
}

StrArray::StrArray(const StrArray& other) : StrArray() { AddArray(other); }

StrArray& StrArray::operator=(const StrArray& other) {
    if (this != &other) {
        Clear();
        AddArray(other);
    }
    return *this;
}

StrArray::~StrArray() { Clear(); }

void StrArray::Add(const String& text) {
    auto* copy = new String(text);
    if (!ValArray<void*>::Add(copy))
        delete copy;
}

void StrArray::AddArray(const StrArray& other, int first, int n) {
    if (first < 0)
        first = 0;
    const int available = other.count - first;
    if (available <= 0)
        return;
    if (n < 0 || n > available)
        n = available;
    // Reading `other` while appending is safe even when it is this array:
    // the count read above bounds the loop.
    for (int i = first; i < first + n; ++i)
        Add(other.Get(i));
}

void StrArray::Insert(int index, const String& text) {
    auto* copy = new String(text);
    if (!ValArray<void*>::Insert(index, copy))
        delete copy;
}

void StrArray::Set(int index, const String& text) {
    if (index < 0)
        return;
    if (index >= count || !data[index]) {
        Add(text);
        return;
    }
    *static_cast<String*>(data[index]) = text;
}

String StrArray::Get(int index) const {
    if (index < 0 || index >= count || !data[index])
        return String::Empty;
    return *At(index);
}

bool StrArray::Matches(int index, const String& text, bool ignoreCase) const {
    const String* s = At(index);
    if (!s)
        return false;
    return ignoreCase ? s->EqualsIgnoreCase(text) : s->Equals(text);
}

int StrArray::IndexOf(const String& text, bool ignoreCase, int first) const {
    if (first < 0)
        first = 0;
    for (int i = first; i < count; ++i)
        if (Matches(i, text, ignoreCase))
            return i;
    return -1;
}

bool StrArray::Contains(const String& text, bool ignoreCase) const {
    for (int i = count - 1; i >= 0; --i)
        if (Matches(i, text, ignoreCase))
            return true;
    return false;
}

void StrArray::Remove(int index) {
    if (index < 0 || index >= count || !data[index])
        return;
    delete static_cast<String*>(ValArray<void*>::Remove(index));
}

void StrArray::RemoveString(const String& text, bool ignoreCase) {
    for (int i = count - 1; i >= 0; --i)
        if (Matches(i, text, ignoreCase))
            Remove(i);
}

void StrArray::RemoveDuplicates(bool ignoreCase) {
    for (int i = 0; i < count; ++i) {
        if (!data[i])
            continue;
        const String current = *At(i);
        for (int k = count - 1; k > i; --k)
            if (Matches(k, current, ignoreCase))
                Remove(k);
    }
}

void StrArray::RemoveEmptyStrings(bool trimmed) {
    for (int i = count - 1; i >= 0; --i) {
        const String* s = At(i);
        if (s && (trimmed ? s->Trim().IsEmpty() : s->IsEmpty()))
            Remove(i);
    }
}

String StrArray::Merge(const String& separator, int first, int n) const {
    if (first < 0)
        first = 0;
    const int available = count - first;
    if (available <= 0 || n == 0)
        return String();
    if (n < 0 || n > available)
        n = available;
    if (n == 1)
        return Get(first);
    const long long separatorLength = separator.GetLength();
    long long total = separatorLength * (n - 1);
    for (int i = first; i < first + n; ++i)
        if (const String* s = At(i))
            total += s->GetLength();
    if (total == 0 || total > 0x7fffffff - String::kBlockOverhead)
        return String();
    // One allocation at the exact length, filled in place.
    String result;
    result.PreAllocateStorage(static_cast<int>(total));
    char* out = result.GetBuffer();
    for (int i = first; i < first + n; ++i) {
        if (i > first) {
            std::memcpy(out, static_cast<const char*>(separator), static_cast<std::size_t>(separatorLength));
            out += separatorLength;
        }
        if (const String* s = At(i)) {
            const std::size_t length = std::strlen(*s);
            std::memcpy(out, static_cast<const char*>(*s), length);
            out += length;
        }
    }
    *out = 0;
    return result;
}

int StrArray::Unmerge(const String& text, const char* separators, const char* quotes) {
    if (text.IsEmpty())
        return 0;
    if (!separators)
        separators = "";
    if (!quotes)
        quotes = "";
    const char* characters = text;
    int added = 0;
    bool insideQuote = false;
    char openingQuote = 0;
    const char* pieceStart = characters;
    for (const char* p = characters;; ++p) {
        const char c = *p;
        if (c == 0) {
            // The last piece is always added, even inside an open quote.
            Add(String(pieceStart, static_cast<int>(p - pieceStart)));
            ++added;
            break;
        }
        if (insideQuote) {
            if (c == openingQuote)
                insideQuote = false;
        } else if (std::strchr(separators, c)) {
            Add(String(pieceStart, static_cast<int>(p - pieceStart)));
            ++added;
            pieceStart = p + 1;
        } else if (std::strchr(quotes, c)) {
            insideQuote = true;
            openingQuote = c;
        }
    }
    return added;
}

void StrArray::Sort(bool ignoreCase) {
    // Null slots would have nothing to compare; they cannot be sorted.
    for (int i = 0; i < count; ++i)
        if (!data[i])
            return;
    if (ignoreCase)
        Sorter::Sort(TamStrArrayInsensitiveComparator(), data, 0, count - 1, false);
    else
        Sorter::Sort(TamStrArrayComparator(), data, 0, count - 1, false);
}

void StrArray::Clear() {
    for (int i = count - 1; i >= 0; --i)
        delete static_cast<String*>(data[i]);
    ValArray<void*>::Clear();
}

bool StrArray::operator==(const StrArray& other) const {
    if (count != other.count)
        return false;
    for (int i = 0; i < count; ++i)
        if (!Get(i).Equals(other.Get(i)))
            return false;
    return true;
}

String StrPairArray::Get(const String& key, const String& fallback) const {
    const int index = IndexOf(key);
    return index >= 0 ? values.Get(index) : fallback;
}

String StrPairArray::operator[](const String& key) const { return Get(key, String::Empty); }

void StrPairArray::Set(const String& key, const String& value) {
    const int index = IndexOf(key);
    if (index >= 0) {
        values.Set(index, value);
        return;
    }
    Add(key, value);
}

void StrPairArray::SetValue(const String& key, const String& value) {
    const int index = IndexOf(key);
    if (index >= 0)
        values.Set(index, value);
}

void StrPairArray::Add(const String& key, const String& value) {
    keys.Add(key);
    values.Add(value);
}

void StrPairArray::Move(const String& key, const String& beforeKey) {
    const int from = keys.IndexOf(key, false);
    if (from < 0)
        return;
    int to = keys.IndexOf(beforeKey, false);
    if (to < 0)
        to = -1;  // the last place
    else if (from < to)
        --to;  // the pair leaves its place before the target closes up
    keys.Move(from, to);
    values.Move(from, to);
}

void StrPairArray::AddArray(const StrPairArray& other) {
    if (&other == this)
        return;  // every pair is already here
    for (int i = 0; i < other.GetCount(); ++i)
        Set(other.keys.Get(i), other.values.Get(i));
}

void StrPairArray::Remove(int index) {
    if (index < 0 || index >= keys.GetCount())
        return;
    keys.Remove(index);
    values.Remove(index);
}

void StrPairArray::Clear() {
    keys.Clear();
    values.Clear();
}

bool StrPairArray::operator==(const StrPairArray& other) const {
    for (int i = keys.GetCount() - 1; i >= 0; --i)
        if (!values.Get(i).Equals(other[keys.Get(i)]))
            return false;
    return true;
}

}  // namespace tam
