/// An owner among several of an object that counts its owners: keep() adds one, drop() removes one
/// and deletes the object with the last. The object begins with one owner.
#pragma once

#include <utility>

template <class T>
class Tm_counted_ptr {
public:
    Tm_counted_ptr() = default;
    /// Takes the object's first owner over.
    explicit Tm_counted_ptr(T* object) : object_(object) {}
    /// One more owner of an object that has some; null gives null.
    static Tm_counted_ptr share(T* object) noexcept {
        if (object != nullptr) object->keep();
        return Tm_counted_ptr(object);
    }
    Tm_counted_ptr(Tm_counted_ptr const& other) noexcept : object_(other.object_) {
        if (object_ != nullptr) object_->keep();
    }
    Tm_counted_ptr(Tm_counted_ptr&& other) noexcept
        : object_(std::exchange(other.object_, nullptr)) {}
    Tm_counted_ptr& operator=(Tm_counted_ptr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Tm_counted_ptr() {
        if (object_ != nullptr) object_->drop();
    }

    T* get() const { return object_; }
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }

private:
    T* object_ = nullptr;
};
