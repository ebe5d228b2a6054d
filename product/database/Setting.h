// What section admin_db of the settings says.
#ifndef VESK_DATABASE_SETTING_H
#define VESK_DATABASE_SETTING_H

#include <string>

namespace VESK::database {

// Empty when none is set.
std::string passwordFile();

}  // namespace VESK::database

#endif
