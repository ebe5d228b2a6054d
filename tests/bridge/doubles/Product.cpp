#include "doubles/Product.h"

#include <cstdarg>
#include <cstdio>

Product product;

int ask(const char* format, ...) {
  char line[4096];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  product.calls.emplace_back(line);
  const std::size_t index = product.calls.size() - 1;
  if (index == product.throwAt || (product.throwsOn && index > product.throwAt)) {
    throw ProductFailure();
  }
  const std::string call(line);
  const auto answer = product.answers.find(call.substr(0, call.find(' ')));
  return answer == product.answers.end() ? 0 : answer->second;
}
