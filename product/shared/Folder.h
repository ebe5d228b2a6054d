// What is in a folder. The standard library's iterators end the process when memory ends.
#ifndef VESK_PRODUCT_FOLDER_H
#define VESK_PRODUCT_FOLDER_H

#include <dirent.h>

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>

namespace VESK {

// Calls `see` with each name but "." and "..", and the entry's type as readdir knows it; any order.
// 0, or the error that kept it from reading the whole folder.
template <typename See>
int forEachIn(const std::string& path, const See& see) {
  struct Close {
    void operator()(DIR* folder) const { ::closedir(folder); }
  };
  const std::unique_ptr<DIR, Close> folder(::opendir(path.c_str()));
  if (!folder) return errno;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(folder.get());
    if (entry == nullptr) return errno;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") see(entry->d_name, entry->d_type);
  }
}

}  // namespace VESK

#endif
