// Ownership of one counted reference to an object of the library.
#pragma once

#include <utility>

namespace vitrella::host {

// Holds one reference and gives it back with Release, so that every way out of a
// command releases effects before the library object, and both before the module goes.
template <typename T>
class ComRef {
 public:
  ComRef() = default;
  // Takes over a reference that the caller already owns (a factory's result).
  explicit ComRef(T* adopted) : object_(adopted) {}
  ComRef(const ComRef&) = delete;
  ComRef& operator=(const ComRef&) = delete;
  ComRef(ComRef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComRef& operator=(ComRef&& other) noexcept {
    if (this != &other) {
      Reset();
      object_ = std::exchange(other.object_, nullptr);
    }
    return *this;
  }
  ~ComRef() { Reset(); }

  void Reset() {
    if (object_ != nullptr) std::exchange(object_, nullptr)->Release();
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  T* object_ = nullptr;
};

}  // namespace vitrella::host
