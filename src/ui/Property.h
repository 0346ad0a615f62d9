// Property: a value of a control or window that notifies its owner when it changes. Writing the present value does
// nothing.
#pragma once

#include <utility>

namespace pellora {

class PropertyOwner {
 public:
  virtual void PropertyChanged() = 0;

 protected:
  ~PropertyOwner() = default;
};

template <class T>
class Property {
 public:
  Property(PropertyOwner* owner, T value) : owner_(owner), value_(std::move(value)) {}
  Property(const Property&) = delete;
  Property& operator=(const Property&) = delete;

  Property& operator=(T value) {
    if (value == value_) return *this;
    value_ = std::move(value);
    owner_->PropertyChanged();
    return *this;
  }
  operator const T&() const { return value_; }  // NOLINT(google-explicit-constructor): a control reads as its value
  const T& operator()() const { return value_; }

 private:
  PropertyOwner* owner_;
  T value_;
};

}  // namespace pellora
