// The password of the administration database, from a file that only its owner may read.
#ifndef VESK_DATABASE_PASSWORD_FILE_H
#define VESK_DATABASE_PASSWORD_FILE_H

#include <string>

#include "Text.h"

namespace VESK::database {

// Reads the first line. Null on success, else why the file does not serve.
const char* readPassword(const std::string& path, Secret<std::string>& password);

}  // namespace VESK::database

#endif
