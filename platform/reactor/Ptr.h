#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "platform/Export.h"

namespace Platform {

// Base of everything that is shared by reference count. Not thread-safe: one event loop owns it.
class MRP_API PtrInterface {
 public:
  PtrInterface(const PtrInterface&) = delete;
  PtrInterface& operator=(const PtrInterface&) = delete;

  void ref() const { ++refs_; }
  void unref() const {
    if (--refs_ == 0) const_cast<PtrInterface*>(this)->onZeroRefs();
  }
  std::uint32_t refs() const { return refs_; }

 protected:
  PtrInterface() = default;
  virtual ~PtrInterface();
  // Deletes the object; pooled objects go back to their pool instead.
  virtual void onZeroRefs();

 private:
  mutable std::uint32_t refs_ = 0;
};

template <class T>
class Ptr {
 public:
  Ptr() = default;
  Ptr(std::nullptr_t) {}
  Ptr(T* object) : object_(object) { acquire(); }
  Ptr(const Ptr& other) : object_(other.object_) { acquire(); }
  Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> Ptr(const Ptr<U>& other) : object_(other.get()) {
    acquire();
  }
  ~Ptr() { release(); }

  Ptr& operator=(Ptr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  friend bool operator==(const Ptr& a, const Ptr& b) { return a.object_ == b.object_; }

 private:
  void acquire() const {
    if (object_) object_->ref();
  }
  void release() {
    if (object_) object_->unref();
  }

  T* object_ = nullptr;
};

template <class T, class... Args>
Ptr<T> makePtr(Args&&... args) {
  return Ptr<T>(new T(std::forward<Args>(args)...));
}

}  // namespace Platform
