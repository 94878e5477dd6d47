#pragma once

#include <string.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace platform {

// Gives out memory that is wiped before it is released.
template <class T>
struct Wiping_Allocator {
  // What the standard library asks of an allocator.
  using value_type = T;

  // Holds no state: any of them releases what another gave out.
  Wiping_Allocator() = default;
  template <class U>
  Wiping_Allocator(const Wiping_Allocator<U>&) noexcept {}

  // Memory for `count` objects. Throws std::bad_alloc where there is none.
  T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
  // Wipes what allocate() gave out for the same count, and releases it.
  void deallocate(T* memory, std::size_t count) noexcept {
    ::explicit_bzero(memory, count * sizeof(T));
    std::allocator<T>().deallocate(memory, count);
  }

  // Any two are equal.
  friend bool operator==(const Wiping_Allocator&, const Wiping_Allocator&) { return true; }
  friend bool operator!=(const Wiping_Allocator&, const Wiping_Allocator&) { return false; }
};

// Text that leaves no trace: every byte lies in memory that is wiped before it is released, also the memory that an
// assignment, a growth or a clear() leaves behind. (std::basic_string keeps short texts inside the object, where no
// allocator sees them.)
//
// It never turns into a std::string by itself; c_str() lends the text to a call that needs it.
class secure_string {
 public:
  // Empty, a copy of a NUL-terminated text, or of `length` bytes of any value; a null text is empty. What the copy was
  // made from is the caller's to wipe.
  secure_string() = default;
  secure_string(const char* text) : secure_string(text, text == nullptr ? 0 : std::strlen(text)) {}
  secure_string(const char* text, std::size_t length) {
    if (length == 0) return;
    bytes_.reserve(length + 1);
    bytes_.assign(text, text + length);
    bytes_.push_back('\0');
  }

  // A copy has memory of its own; what is moved from is empty, and what an assignment replaces is wiped.
  secure_string(const secure_string& other) = default;
  secure_string(secure_string&& other) noexcept = default;
  secure_string& operator=(secure_string other) noexcept {
    swap(other);
    return *this;
  }
  ~secure_string() = default;

  // NUL-terminated; valid until the string changes.
  const char* c_str() const noexcept { return bytes_.empty() ? "" : bytes_.data(); }

  // In bytes, without the closing NUL.
  std::size_t size() const noexcept { return bytes_.empty() ? 0 : bytes_.size() - 1; }

  // True without any byte.
  bool empty() const noexcept { return bytes_.empty(); }

  // Adds one byte. Memory that it outgrows is wiped.
  void push_back(char c) {
    if (bytes_.empty()) bytes_.push_back('\0');
    bytes_.back() = c;
    bytes_.push_back('\0');
  }

  // Wipes the text and leaves an empty one.
  void clear() noexcept { secure_string().swap(*this); }

  // Changes places with the other; nothing is copied.
  void swap(secure_string& other) noexcept { bytes_.swap(other.bytes_); }

  // Compare the bytes; the time that takes tells how far they agree.
  friend bool operator==(const secure_string& a, const secure_string& b) noexcept { return a.bytes_ == b.bytes_; }
  friend bool operator!=(const secure_string& a, const secure_string& b) noexcept { return !(a == b); }

 private:
  std::vector<char, Wiping_Allocator<char>> bytes_;  // the text and its NUL; nothing at all for an empty text
};

}  // namespace platform
