// What is kept of updates for people.
#ifndef VESK_UPDATE_EVENTS_H
#define VESK_UPDATE_EVENTS_H

#include <string>

#include "Failure.h"
#include "product/update.h"

namespace VESK::update {

// One line in log/update-events.log.
bool appendEvent(const std::string& home, int source, BvUpdateType type, BvUpdateRet result,
                 Failure& failure);

// data/update/upload-number goes one up.
bool countUpload(const std::string& home, Failure& failure);

}  // namespace VESK::update

#endif
