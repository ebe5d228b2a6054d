// The product's update engine, as far as the console starts it.
#ifndef VESK_PRODUCT_UPDATE_H
#define VESK_PRODUCT_UPDATE_H

#include <string>

// Prepares the update engine for this process: checks the install root and opens what later update
// calls work on.
class BvUpdateInit {
 public:
  BvUpdateInit();
  ~BvUpdateInit();
  BvUpdateInit(const BvUpdateInit&) = delete;
  BvUpdateInit& operator=(const BvUpdateInit&) = delete;

  // `home` is the install root. False when the engine cannot work there; the log says why.
  bool Init(const std::string& home);

  // Stays the first byte of the object: callers look at it before they initialise a second time.
  bool initialised;
};

#endif
