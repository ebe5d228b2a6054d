// The product's settings: "vesk.ini", held in memory and read by section and key.
#ifndef VESK_PRODUCT_SETTINGS_H
#define VESK_PRODUCT_SETTINGS_H

#include <string>

namespace VESK {

class GlobalSetting {
 public:
  // Copies the text of `key` in `section` to `value`; leaves `value` empty when there is none.
  // Names are matched exactly, capitals included. `reserved` is always 0. Returns 0 when the key is
  // there, -1 when not; throws std::bad_alloc, since no memory is not no setting. The first entry
  // of the table of virtual functions: it stays the first.
  virtual int getValue(const char* key, std::string& value, const char* section, int reserved) = 0;

  // False when the file could not be read or has a syntax error (file and line are in the log).
  virtual bool isLoaded() const = 0;

 protected:
  virtual ~GlobalSetting() = default;
};

// The process's one store. Readers never wait for one another.
class GlobalSettingOnMem : public GlobalSetting {
 public:
  // With a path: loads the file unless the store is loaded already, and returns the store; after a
  // failed load, a later call with a path tries again. With a null path: the store as it is, or
  // null when there was no call with a path yet. The other arguments are always true, four nulls
  // and true. The store belongs to the library and lives until the process ends.
  static GlobalSettingOnMem* Instance(const char* path, bool b1, const char* s1, const char* s2,
                                      const char* s3, const char* s4, bool b2);

  // Sets an item in memory, creating it if it is missing; the file is not written. Returns 1 when
  // the item is set and 0 when it is not (a null text, an empty section or key).
  int _replace_create_item_on_mem(const char* section, const char* key, const char* value);
};

}  // namespace VESK

#endif
