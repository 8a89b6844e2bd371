// Reference-counted objects.
//
// A RefObject starts with a count of 1, the reference of whoever made it,
// and destroys itself when Release brings the count to 0 or below. The count
// is atomic so that references may be dropped from several threads. RefPtr
// holds one reference of its own: it adds one on taking a pointer and
// releases it on letting go.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

namespace tam {

struct RefObjectId {
    uint64_t word1;
    uint64_t word2;
    uint64_t word3;
    bool operator==(const RefObjectId& other) const = default;
};

class RefObject {
public:
    // The identity every RefObject answers to.
    static constexpr RefObjectId kRootId{0, 0xC0000000u, 0x46000000u};
    static constexpr int32_t kNoInterface = static_cast<int32_t>(0x80000004u);

    RefObject() = default;
    RefObject(const RefObject&) = delete;
    RefObject& operator=(const RefObject&) = delete;
    virtual ~RefObject() = default;

    // Stores this object (with a new reference) for the root id and returns
    // 0; any other id stores null and returns 0x80000004.
    virtual int32_t QueryInterface(RefObjectId id, RefObject** out) {
        if (!out)
            return kNoInterface;
        *out = nullptr;
        if (id == kRootId) {
            *out = this;
            AddRef();
            return 0;
        }
        return kNoInterface;
    }
    virtual int32_t AddRef() { return count.fetch_add(1, std::memory_order_relaxed) + 1; }
    virtual int32_t Release() {
        const int32_t left = count.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left <= 0)
            delete this;
        return left;
    }
    virtual RefObjectId GetObjectId() const { return kRootId; }

    int32_t GetReferenceCount() const { return count.load(std::memory_order_relaxed); }

private:
    std::atomic<int32_t> count{1};
};

template <class T>
class RefPtr {
public:
    RefPtr() = default;
    RefPtr(T* object) : pointer(object) {
        if (pointer)
            pointer->AddRef();
    }
    RefPtr(const RefPtr& other) : RefPtr(other.pointer) {}
    RefPtr(RefPtr&& other) noexcept : pointer(std::exchange(other.pointer, nullptr)) {}
    ~RefPtr() {
        if (pointer)
            pointer->Release();
    }
    RefPtr& operator=(T* object) {
        if (object)
            object->AddRef();  // before the release: object may be the current one
        T* old = std::exchange(pointer, object);
        if (old)
            old->Release();
        return *this;
    }
    RefPtr& operator=(const RefPtr& other) { return *this = other.pointer; }
    RefPtr& operator=(RefPtr&& other) noexcept {
        if (this != &other) {
            T* old = std::exchange(pointer, std::exchange(other.pointer, nullptr));
            if (old)
                old->Release();
        }
        return *this;
    }

    T* Get() const { return pointer; }
    T* operator->() const { return pointer; }
    T& operator*() const { return *pointer; }
    operator T*() const { return pointer; }
    explicit operator bool() const { return pointer != nullptr; }

private:
    T* pointer = nullptr;
};

}  // namespace tam
