// Owners of what GMime and GLib hand out, and GMime's start.
#ifndef VESK_NOTIFY_GMIME_H
#define VESK_NOTIFY_GMIME_H

// Through their headers' macros, C casts are part of every use.
#include <gmime/gmime.h>

#include <memory>

namespace VESK::notify {

struct Unref {
  void operator()(void* object) const { g_object_unref(object); }
};
template <typename Type>
using Object = std::unique_ptr<Type, Unref>;

struct FreeText {
  void operator()(char* text) const { g_free(text); }
};
using Text = std::unique_ptr<char, FreeText>;

struct FreeError {
  void operator()(GError* error) const { g_error_free(error); }
};
using Error = std::unique_ptr<GError, FreeError>;

// Before GMime's first use, from any thread. Not done when the library is loaded: most consoles
// never write a mail.
void startGMime();

}  // namespace VESK::notify

#endif
