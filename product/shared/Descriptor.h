// An open file, socket or folder, closed with its owner.
#ifndef VESK_PRODUCT_DESCRIPTOR_H
#define VESK_PRODUCT_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace VESK {

class Descriptor {
 public:
  // -1, as from an open that failed, stands for none.
  explicit Descriptor(int opened = -1) : number(opened) {}
  Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number, other.number);
    return *this;
  }
  ~Descriptor() {
    if (number >= 0) ::close(number);
  }

  int get() const { return number; }
  // The caller closes it.
  int release() { return std::exchange(number, -1); }
  explicit operator bool() const { return number >= 0; }

 private:
  int number;
};

}  // namespace VESK

#endif
