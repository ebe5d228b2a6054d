// What can be updated.
#ifndef VESK_UPDATE_COMPONENTS_H
#define VESK_UPDATE_COMPONENTS_H

#include "product/update.h"

namespace VESK::update {

// The component's name, which is its folder and its name at the source; null for a type that is not
// given out.
const char* nameOf(BvUpdateType type);

}  // namespace VESK::update

#endif
