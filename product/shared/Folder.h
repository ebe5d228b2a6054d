// What is in a folder. The standard library's iterators end the process when memory ends.
#ifndef VESK_PRODUCT_FOLDER_H
#define VESK_PRODUCT_FOLDER_H

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>

namespace VESK {

// Calls `see` with each name but "." and ".." and the entry's type, as DT_REG and its like; any
// order. 0, or the error that kept it from reading the whole folder.
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
    if (name == "." || name == "..") continue;
    struct stat status {};
    const bool isKnown =
        entry->d_type != DT_UNKNOWN ||  // some file systems do not say
        ::fstatat(::dirfd(folder.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0;
    see(entry->d_name, isKnown ? entry->d_type : IFTODT(status.st_mode));
  }
}

}  // namespace VESK

#endif
