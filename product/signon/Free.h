// What gives OpenSSL's objects back.
#ifndef VESK_PRODUCT_SIGNON_FREE_H
#define VESK_PRODUCT_SIGNON_FREE_H

namespace VESK::signon {

template <auto FREE>
struct Free {
  template <typename Type>
  void operator()(Type* owned) const {
    FREE(owned);
  }
};

}  // namespace VESK::signon

#endif
