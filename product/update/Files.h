// Files and folders that survive a kill and a power cut.
#ifndef VESK_UPDATE_FILES_H
#define VESK_UPDATE_FILES_H

#include <sys/types.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <utility>

#include "Failure.h"
#include "shared/Descriptor.h"

namespace VESK::update {

constexpr mode_t FOLDER_MODE = 0750;
constexpr mode_t FILE_MODE = 0640;
constexpr mode_t PROGRAM_MODE = 0750;

// Makes a folder and gives it its mode whatever the umask is; one that is there serves.
bool makeFolder(const std::string& path);

// False with errno set.
bool writeAll(int file, const char* data, std::size_t size);

// A new file of that mode, whatever the umask is, open for writing; not open when one is there.
Descriptor createFile(const std::string& path, mode_t mode);

// A draft, PATH.new, takes the room that putting a file or link in place needs; what follows is a
// rename. The caller holds a lock. A link without a target needs no draft.
bool draftFile(const std::string& path, std::string_view content, Failure& failure);
bool draftLink(const std::string& path, const std::string& target, Failure& failure);

// Puts a file of this content in place in one step; on the disk when it returns.
bool replaceFile(const std::string& path, std::string_view content, Failure& failure);

// At most `limit` bytes. Empty when there is no such file or it cannot be read, and errno then says
// why; it is 0 for a file that is empty.
std::string readFile(const std::string& path, std::size_t limit);

// Puts the draft in place in one step if this has not been done; a draft that was lost is made
// again. An empty target removes the link.
bool placeFile(const std::string& path, std::string_view content, Failure& failure);
bool placeLink(const std::string& path, const std::string& target, Failure& failure);

// Where a symbolic link leads; empty when there is none.
std::string readLink(const std::string& path);

bool syncFolder(const std::string& path, Failure& failure);

// Every file and folder below `path`, and `path`.
bool syncTree(const std::string& path, Failure& failure);

void removeTree(const std::string& path);

}  // namespace VESK::update

#endif
