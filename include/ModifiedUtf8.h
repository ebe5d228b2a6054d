// Text on its way into the VM.
#ifndef VESK_MODIFIED_UTF8_H
#define VESK_MODIFIED_UTF8_H

#include <string>

// A UTF-8 text in the VM's modified form: supplementary characters as two surrogates of three bytes
// each, bytes that are not UTF-8 as U+FFFD. Surrogates that are there already pass as they are.
// NewStringUTF would lose the rest of the text at the first four-byte character. A text that needs
// no change is not copied.
class ModifiedUtf8 {
 public:
  explicit ModifiedUtf8(const char* utf8);  // borrowed for the object's life
  const char* c_str() const { return text; }

 private:
  std::string converted;
  const char* text;
};

#endif
