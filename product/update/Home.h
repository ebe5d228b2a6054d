// The install root that BvUpdateInit found fit.
#ifndef VESK_UPDATE_HOME_H
#define VESK_UPDATE_HOME_H

#include <string>

namespace VESK::update {

// Null before. The texts stay until the process ends.
const std::string* home();
void setHome(const std::string& fit);

}  // namespace VESK::update

#endif
