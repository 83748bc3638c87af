// One owner for each kind of handle: closes it on every path, and lets go of it only by release().
//
//   Owned<File, File_Close> file;
//   if (ErrorCode status = File_Open(name, 1, file.out()); status != Error_None) return status;
//   ...
//   return file.release();   // the caller takes over
#pragma once

#include <utility>

template <typename T, auto Close>
class Owned {
 public:
  Owned() = default;
  explicit Owned(T* handle) : handle_(handle) {}
  Owned(Owned&& other) noexcept : handle_(other.release()) {}
  Owned& operator=(Owned&& other) noexcept {
    reset(other.release());
    return *this;
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned() { reset(); }

  T* get() const { return handle_; }
  T* operator->() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }

  // Gives the handle away without closing it.
  T* release() { return std::exchange(handle_, nullptr); }

  // Closes what is held and holds `handle` instead.
  void reset(T* handle = nullptr) {
    T* old = std::exchange(handle_, handle);
    if (old != nullptr) Close(old);
  }

  // For functions that return the handle through a pointer argument.
  T** out() {
    reset();
    return &handle_;
  }

 private:
  T* handle_ = nullptr;
};
