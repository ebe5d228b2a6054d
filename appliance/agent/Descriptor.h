// An open file, closed with its owner.
#ifndef VESK_APPLIANCE_AGENT_DESCRIPTOR_H
#define VESK_APPLIANCE_AGENT_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace agent {

class Descriptor {
 public:
  explicit Descriptor(int opened = -1) : fd(opened) {}
  Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd, other.fd);
    return *this;
  }
  ~Descriptor() {
    if (fd >= 0) close(fd);
  }

  int get() const { return fd; }
  int release() { return std::exchange(fd, -1); }
  explicit operator bool() const { return fd >= 0; }

 private:
  int fd;
};

}  // namespace agent

#endif
