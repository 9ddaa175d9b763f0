/// Owners of objects, for private members of public classes.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>

/// The only owner of an object. It replaces std::unique_ptr in public headers because it costs
/// those who include them much less compile time. get() returns null when there is no object.
template <class T>
class Tm_owned {
public:
    Tm_owned() noexcept = default;
    template <class Made>
    Tm_owned(std::unique_ptr<Made>&& object) noexcept : object_(object.release()) {}
    Tm_owned(Tm_owned&& other) noexcept : object_(other.release()) {}
    Tm_owned& operator=(Tm_owned&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~Tm_owned() { reset(); }

    T* get() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    T* operator->() const noexcept { return object_; }
    friend bool operator==(Tm_owned const& owned, std::nullptr_t) noexcept {
        return owned.object_ == nullptr;
    }
    friend bool operator!=(Tm_owned const& owned, std::nullptr_t) noexcept {
        return owned.object_ != nullptr;
    }

    T* release() noexcept {
        T* const object = object_;
        object_ = nullptr;
        return object;
    }
    void reset(T* object = nullptr) noexcept {
        static_cast<void>(sizeof(T));  // does not compile for an incomplete class
        T* const old = object_;
        object_ = object;
        delete old;
    }

private:
    T* object_ = nullptr;
};

/// A shared owner of an object that counts its owners, like std::shared_ptr with the count inside
/// the object. A new object has one owner. Its keep() adds an owner. Its drop() removes an owner,
/// and deletes the object with the last one.
template <class T>
class Tm_counted_ptr {
public:
    Tm_counted_ptr() = default;
    /// Takes the object's first owner over.
    explicit Tm_counted_ptr(T* object) : object_(object) {}
    /// Makes one more owner of an object. Returns an empty pointer for null.
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
