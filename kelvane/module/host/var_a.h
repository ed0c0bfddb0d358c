/// \file
/// The host's reference-counted owning pointer.
#pragma once

#include <atomic>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace var_a_legacy {

/// Control block of a shared object: how many pointers own it, and how it is destroyed.
/// Counting is sequentially consistent; nothing else here is synchronised.
class T_var_a_item {
 public:
  /// Destroys the object, and the block with it.
  using TDestroy = void (*)(T_var_a_item*);

  /// Begins with one owner.
  explicit T_var_a_item(TDestroy destroy) : count_(1), destroy_(destroy) {}
  T_var_a_item(const T_var_a_item&) = delete;
  T_var_a_item& operator=(const T_var_a_item&) = delete;

  /// Only a caller that is an owner itself, or holds one, may add another.
  void AddOwner() noexcept { count_.fetch_add(1, std::memory_order_seq_cst); }

  /// Gives up one ownership; the last one destroys the block. An exception out of the destroy function
  /// ends the process (this function is noexcept).
  void Release() noexcept {
    if (count_.fetch_sub(1, std::memory_order_seq_cst) == 1) destroy_(this);
  }

  /// A snapshot: other threads may change it at once.
  std::size_t Owners() const noexcept { return count_.load(std::memory_order_seq_cst); }

 protected:
  ~T_var_a_item() = default;

 private:
  std::atomic<std::size_t> count_;
  TDestroy destroy_;
};

/// Control block and object in one allocation.
template <class T>
class TEmbedded_var_a_item final : public T_var_a_item {
 public:
  /// Constructs the object from the arguments.
  template <class... Args>
  explicit TEmbedded_var_a_item(Args&&... args)
      : T_var_a_item(&Destroy), object_(std::forward<Args>(args)...) {}
  // The object decides whether its destruction may throw; Release turns a throw into termination.
  ~TEmbedded_var_a_item() noexcept(std::is_nothrow_destructible_v<T>) = default;

  /// Owned by the block, for as long as it has owners.
  T* Object() noexcept { return &object_; }

 private:
  static void Destroy(T_var_a_item* item) { delete static_cast<TEmbedded_var_a_item*>(item); }

  T object_;
};

template <class P>
class var_a;

template <class T, class... Args>
var_a<T*> new_a(Args&&... args);

/// Shared owner of a `T`. An empty one owns nothing; a function that returns an empty one has failed,
/// where its contract says so. Copies share the object and may be made and dropped in several threads;
/// one `var_a` itself is no more thread-safe than a plain pointer.
template <class T>
class var_a<T*> {
 public:
  var_a() noexcept = default;
  /// Owns nothing.
  var_a(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor): "return nullptr" means failure
  /// Shares what `other` owns.
  var_a(const var_a& other) noexcept : object_(other.object_), item_(other.item_) {
    if (item_ != nullptr) item_->AddOwner();
  }
  /// Takes over what `other` owns; `other` is empty then.
  var_a(var_a&& other) noexcept
      : object_(std::exchange(other.object_, nullptr)), item_(std::exchange(other.item_, nullptr)) {}

  /// A pointer to a derived class converts to one to its base; both own the same object.
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  var_a(const var_a<U*>& other) noexcept  // NOLINT(google-explicit-constructor): as plain pointers do
      : object_(other.object_), item_(other.item_) {
    if (item_ != nullptr) item_->AddOwner();
  }
  /// Takes over what a pointer to a derived class owns; that is empty then.
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  var_a(var_a<U*>&& other) noexcept  // NOLINT(google-explicit-constructor): as plain pointers do
      : object_(std::exchange(other.object_, nullptr)), item_(std::exchange(other.item_, nullptr)) {}

  /// By value: a copy shares, a moved one is taken over. What was owned before is released.
  var_a& operator=(var_a other) noexcept {
    swap(other);
    return *this;
  }
  ~var_a() {
    if (item_ != nullptr) item_->Release();
  }

  /// The object, still owned here; null when empty.
  T* get() const noexcept { return object_; }
  /// Not checked for an empty pointer, and neither is `*`.
  T* operator->() const noexcept { return object_; }
  /// See `operator->`.
  T& operator*() const noexcept { return *object_; }
  /// Whether it owns anything; an empty one tells failure.
  explicit operator bool() const noexcept { return object_ != nullptr; }

  /// Releases what is owned; empty then.
  void reset() noexcept { var_a().swap(*this); }
  /// Exchanges what the two own; no count changes.
  void swap(var_a& other) noexcept {
    std::swap(object_, other.object_);
    std::swap(item_, other.item_);
  }
  /// Number of owners of the object; 0 for an empty pointer.
  std::size_t use_count() const noexcept { return item_ == nullptr ? 0 : item_->Owners(); }

 private:
  template <class P>
  friend class var_a;
  template <class U, class... Args>
  friend var_a<U*> new_a(Args&&... args);

  T* object_ = nullptr;
  T_var_a_item* item_ = nullptr;
};

/// Makes a `T` from the arguments, with its count in the same allocation, and returns its first owner.
/// What the constructor or the allocation throws passes through.
template <class T, class... Args>
var_a<T*> new_a(Args&&... args) {
  auto* item = new TEmbedded_var_a_item<T>(std::forward<Args>(args)...);
  var_a<T*> result;
  result.object_ = item->Object();
  result.item_ = item;
  return result;
}

}  // namespace var_a_legacy

using var_a_legacy::new_a;
using var_a_legacy::var_a;
