/// The one owner of an object, for private members of public classes: each std::unique_ptr of
/// another class costs whoever includes the header compile time, this costs next to none.
#pragma once

#include <cstddef>
#include <memory>

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
        static_cast<void>(sizeof(T));  // does not compile where the class is not known
        T* const old = object_;
        object_ = object;
        delete old;
    }

private:
    T* object_ = nullptr;
};
