/// Two smart pointers, for private members of public classes. They replace std::unique_ptr and
/// std::shared_ptr there, because each use of those takes much longer to compile.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>

/// The only owner of an object. It can be moved, not copied. T must be complete where the owner is
/// assigned, reset or destroyed.
template <class T>
class Tm_owned {
public:
    /// Owns no object.
    Tm_owned() noexcept = default;
    /// Takes the object from the unique_ptr, which is empty afterwards.
    template <class Made>
    Tm_owned(std::unique_ptr<Made>&& object) noexcept : object_(object.release()) {}
    /// Takes the object of `other`, as the assignment does. `other` is empty afterwards.
    Tm_owned(Tm_owned&& other) noexcept : object_(other.release()) {}
    Tm_owned& operator=(Tm_owned&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~Tm_owned() { reset(); }

    /// Returns the object, which this still owns, or null when there is none.
    T* get() const noexcept { return object_; }
    /// Both need an object.
    T& operator*() const noexcept { return *object_; }
    T* operator->() const noexcept { return object_; }
    friend bool operator==(Tm_owned const& owned, std::nullptr_t) noexcept {
        return owned.object_ == nullptr;
    }
    friend bool operator!=(Tm_owned const& owned, std::nullptr_t) noexcept {
        return owned.object_ != nullptr;
    }

    /// Returns the object, which the caller owns from now on. This owns nothing afterwards.
    T* release() noexcept {
        T* const object = object_;
        object_ = nullptr;
        return object;
    }
    /// Takes ownership of `object`, which may be null, and deletes the object owned before.
    void reset(T* object = nullptr) noexcept {
        static_cast<void>(sizeof(T));  // does not compile for an incomplete class
        T* const old = object_;
        object_ = object;
        delete old;
    }

private:
    T* object_ = nullptr;
};

/// One of the owners of an object, which counts its owners itself. T has two operations: keep()
/// counts one owner more, and drop() counts one owner less and deletes the object with the last
/// one. The count of a new object is 1. Owners on different threads need an atomic count.
template <class T>
class Tm_counted_ptr {
public:
    /// Owns no object.
    Tm_counted_ptr() = default;
    /// Becomes the first owner of a new object, and so calls no keep(). `object` may be null.
    explicit Tm_counted_ptr(T* object) : object_(object) {}
    /// Returns one more owner of an object, or an empty pointer for null.
    static Tm_counted_ptr share(T* object) noexcept {
        if (object != nullptr) object->keep();
        return Tm_counted_ptr(object);
    }
    /// Becomes one more owner of the object of `other`.
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

    /// Returns the object, which this still owns, or null when there is none.
    T* get() const { return object_; }
    /// Returns the same, and owns no object then. The caller is the owner in its place.
    T* release() noexcept { return std::exchange(object_, nullptr); }
    /// Both need an object.
    T* operator->() const { return object_; }
    T& operator*() const { return *object_; }
    /// Returns true when there is an object.
    explicit operator bool() const { return object_ != nullptr; }

private:
    T* object_ = nullptr;
};
